// The virtual machine's end of a usbredir connection.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <usbredirparser.h>

#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "emulation/common/FileDescriptor.h"

namespace orq::test {

using Bytes = std::vector<std::uint8_t>;

/// An answer to a request of the guest.
struct RedirAnswer {
  int status = -1;
  Bytes data;
};

class RedirGuest {
 public:
  explicit RedirGuest(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    connected_ = ::connect(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    parser_.reset(usbredirparser_create());
    parser_->priv = this;
    parser_->log_func = [](void*, int, const char*) {};
    parser_->read_func = [](void* self, std::uint8_t* data, int count) {
      const ssize_t came = ::recv(Self(self).socket_.Get(), data, static_cast<std::size_t>(count), MSG_DONTWAIT);
      Self(self).hungUp = came == 0;
      return came > 0 ? static_cast<int>(came) : came == 0 ? -1 : 0;
    };
    parser_->write_func = [](void* self, std::uint8_t* data, int count) {
      return static_cast<int>(
          ::send(Self(self).socket_.Get(), data, static_cast<std::size_t>(count), MSG_NOSIGNAL));
    };
    parser_->hello_func = [](void*, usb_redir_hello_header*) {};
    parser_->device_connect_func = [](void* self, usb_redir_device_connect_header* connected) {
      Self(self).device = *connected;
      Self(self).plugged = true;
      ++Self(self).arrivals;
    };
    parser_->device_disconnect_func = [](void* self) { Self(self).plugged = false; };
    parser_->interface_info_func = [](void* self, usb_redir_interface_info_header* info) {
      Self(self).interfaces = *info;
    };
    parser_->ep_info_func = [](void* self, usb_redir_ep_info_header* info) { Self(self).endpoints = *info; };
    parser_->configuration_status_func = [](void* self, std::uint64_t id,
                                            usb_redir_configuration_status_header* status) {
      Self(self).answers[id] = {status->status, {status->configuration}};
    };
    parser_->alt_setting_status_func = [](void* self, std::uint64_t id,
                                          usb_redir_alt_setting_status_header* status) {
      Self(self).answers[id] = {status->status, {status->alt}};
    };
    parser_->iso_stream_status_func = [](void* self, std::uint64_t id,
                                         usb_redir_iso_stream_status_header* status) {
      Self(self).answers[id] = {status->status, {}};
    };
    parser_->control_packet_func = [](void* self, std::uint64_t id, usb_redir_control_packet_header* header,
                                      std::uint8_t* data, int bytes) {
      Self(self).answers[id] = {header->status, Bytes(data, data + bytes)};
      usbredirparser_free_packet_data(Self(self).parser_.get(), data);
    };
    parser_->bulk_packet_func = [](void* self, std::uint64_t id, usb_redir_bulk_packet_header* header,
                                   std::uint8_t* data, int bytes) {
      Self(self).answers[id] = {header->status, Bytes(data, data + bytes)};
      usbredirparser_free_packet_data(Self(self).parser_.get(), data);
    };
    std::uint32_t capabilities[USB_REDIR_CAPS_SIZE] = {};
    for (const int capability :
         {usb_redir_cap_connect_device_version, usb_redir_cap_device_disconnect_ack,
          usb_redir_cap_ep_info_max_packet_size, usb_redir_cap_64bits_ids, usb_redir_cap_32bits_bulk_length})
      usbredirparser_caps_set_cap(capabilities, capability);
    usbredirparser_init(parser_.get(), "test", capabilities, USB_REDIR_CAPS_SIZE, 0);
  }

  /// Exchanges messages until `done`; false when that does not come about.
  template <typename Done>
  bool Until(Done&& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!done()) {
      if (std::chrono::steady_clock::now() > end || hungUp) return false;
      usbredirparser_do_write(parser_.get());
      pollfd polled{socket_.Get(), POLLIN, 0};
      ::poll(&polled, 1, 100);
      usbredirparser_do_read(parser_.get());
    }
    return true;
  }

  std::uint64_t Control(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t index,
                        std::uint16_t length, Bytes data = {}) {
    usb_redir_control_packet_header header{};
    header.endpoint = type & 0x80;
    header.requesttype = type;
    header.request = request;
    header.value = value;
    header.index = index;
    header.length = length;
    usbredirparser_send_control_packet(parser_.get(), ++id_, &header, data.data(), static_cast<int>(data.size()));
    return id_;
  }
  std::uint64_t Bulk(std::uint32_t bytes, std::uint8_t endpoint = 0x81) {
    usb_redir_bulk_packet_header header{};
    header.endpoint = endpoint;
    header.length = static_cast<std::uint16_t>(bytes);
    header.length_high = static_cast<std::uint16_t>(bytes >> 16);
    usbredirparser_send_bulk_packet(parser_.get(), ++id_, &header, nullptr, 0);
    return id_;
  }
  std::uint64_t NextId() { return ++id_; }
  /// The answer to a request, waited for.
  RedirAnswer Answer(std::uint64_t id) {
    Until([&] { return answers.contains(id); });
    return answers[id];
  }
  RedirAnswer ControlNow(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t index,
                         std::uint16_t length, Bytes data = {}) {
    return Answer(Control(type, request, value, index, length, std::move(data)));
  }

  usbredirparser* Native() { return parser_.get(); }
  bool Connected() const { return connected_; }

  usb_redir_device_connect_header device{};
  usb_redir_interface_info_header interfaces{};
  usb_redir_ep_info_header endpoints{};
  std::map<std::uint64_t, RedirAnswer> answers;
  bool plugged = false;
  bool hungUp = false;
  int arrivals = 0;

 private:
  static RedirGuest& Self(void* self) { return *static_cast<RedirGuest*>(self); }

  struct Destroyer {
    void operator()(usbredirparser* parser) const { usbredirparser_destroy(parser); }
  };
  FileDescriptor socket_;
  std::unique_ptr<usbredirparser, Destroyer> parser_;
  bool connected_ = false;
  std::uint64_t id_ = 100;
};

}  // namespace orq::test
