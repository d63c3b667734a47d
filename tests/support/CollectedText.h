// What the library prints during a stretch of a test: by its sink, and past it.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <string>

#include "support/TextSink.h"

namespace orq::test {

/// Collects the library's text, and what reaches descriptors 1 and 2 all the same, until `Release` or the end of
/// the scope.
class CollectedText {
 public:
  CollectedText() {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    SetTextSink([this](TextStream stream, std::string_view text) {
      const std::lock_guard lock(mutex_);
      (stream == TextStream::Output ? output_ : error_) += text;
    });
  }
  ~CollectedText() {
    if (!released_) Release();
  }
  CollectedText(const CollectedText&) = delete;
  CollectedText& operator=(const CollectedText&) = delete;

  /// Brings standard output and error back; what reached them meanwhile.
  std::string Release() {
    released_ = true;
    const std::string output = testing::internal::GetCapturedStdout();
    const std::string error = testing::internal::GetCapturedStderr();
    SetTextSink({});  // last: a thread that prints meanwhile prints by the sink
    return output + error;
  }

  std::string Output() const {
    const std::lock_guard lock(mutex_);
    return output_;
  }
  std::string Error() const {
    const std::lock_guard lock(mutex_);
    return error_;
  }

 private:
  mutable std::mutex mutex_;
  std::string output_, error_;
  bool released_ = false;
};

}  // namespace orq::test
