// What users read when USB fails: the same words at every port.
#pragma once

#include <string>

#include "link/usb/UsbTypes.h"
#include "support/threads/Mutex.h"

namespace orq {

/// One line for a user: what happened and what to do.
std::string DescribeUsbError(UsbError error);

/// A port's last failure. Thread rule: any-thread.
class LastUsbError {
 public:
  /// Remembers a failure with its usual words, or with others that say more; returns it.
  UsbError Note(UsbError error) { return Note(error, DescribeUsbError(error)); }
  UsbError Note(UsbError error, std::string text);

  std::string Text() const;
  UsbError Code() const;

 private:
  mutable Mutex mutex_;
  UsbError code_ ORQ_GUARDED_BY(mutex_) = kUsbOk;
  std::string text_ ORQ_GUARDED_BY(mutex_);
};

}  // namespace orq
