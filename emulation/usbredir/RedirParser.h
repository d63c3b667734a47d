// The usbredir protocol's parser, as the side that has the device.
#pragma once

#include <usbredirparser.h>

#include <memory>
#include <span>

#include "link/usb/UsbTypes.h"

namespace orq {

/// What a virtual machine asks of a device. Called from `RedirParser::Read`.
class RedirEvents {
 public:
  virtual ~RedirEvents() = default;
  virtual void OnHello() = 0;
  virtual void OnReset() = 0;
  virtual void OnDisconnectAck() = 0;
  virtual void OnRefused() = 0;
  virtual void OnSetConfiguration(std::uint64_t id, int configuration) = 0;
  virtual void OnGetConfiguration(std::uint64_t id) = 0;
  virtual void OnSetAltSetting(std::uint64_t id, int interfaceNumber, int alternate) = 0;
  virtual void OnGetAltSetting(std::uint64_t id, int interfaceNumber) = 0;
  virtual void OnControl(std::uint64_t id, const usb_redir_control_packet_header& header,
                         std::span<const std::uint8_t> data) = 0;
  virtual void OnBulk(std::uint64_t id, const usb_redir_bulk_packet_header& header) = 0;
  virtual void OnCancel(std::uint64_t id) = 0;
};

/// One conversation over a non-blocking socket. Caller-serialised.
class RedirParser {
 public:
  RedirParser(int socket, RedirEvents& events);
  RedirParser(const RedirParser&) = delete;
  RedirParser& operator=(const RedirParser&) = delete;

  /// Takes in and hands on what has come. False once the other side has gone.
  bool Read();
  /// Sends what waits to be sent, as far as the socket takes it. False once the other side has gone.
  bool Write();
  bool WantsToWrite() const { return usbredirparser_has_data_to_write(parser_.get()) > 0; }
  bool PeerAcknowledgesDisconnects() const {
    return usbredirparser_peer_has_cap(parser_.get(), usb_redir_cap_device_disconnect_ack) != 0;
  }
  /// For the library's sending calls.
  usbredirparser* Native() { return parser_.get(); }

 private:
  void SetCallbacks();
  static int ReadSocket(void* self, std::uint8_t* data, int count);
  static int WriteSocket(void* self, std::uint8_t* data, int count);

  struct Destroyer {
    void operator()(usbredirparser* parser) const { usbredirparser_destroy(parser); }
  };
  std::unique_ptr<usbredirparser, Destroyer> parser_;
  const int socket_;
  RedirEvents& events_;
  bool gone_ = false;
};

}  // namespace orq
