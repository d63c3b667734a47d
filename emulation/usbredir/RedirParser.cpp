#include "emulation/usbredir/RedirParser.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <new>

namespace orq {
namespace {

constexpr const char* kVersion = "orq-usbredir";

RedirParser& Self(void* self) {
  return *static_cast<RedirParser*>(self);
}

void Log(void*, int level, const char* message) {
  if (level <= usbredirparser_warning) std::cerr << "orq-usbredir: " << message << "\n";
}

/// Cameras have no isochronous and interrupt endpoints and no bulk streams: requests for them are invalid.
void RefuseWhatCamerasLack(usbredirparser& parser) {
  parser.start_iso_stream_func = [](void* self, std::uint64_t id, usb_redir_start_iso_stream_header* asked) {
    usb_redir_iso_stream_status_header status{usb_redir_inval, asked->endpoint};
    usbredirparser_send_iso_stream_status(Self(self).Native(), id, &status);
  };
  parser.stop_iso_stream_func = [](void* self, std::uint64_t id, usb_redir_stop_iso_stream_header* asked) {
    usb_redir_iso_stream_status_header status{usb_redir_inval, asked->endpoint};
    usbredirparser_send_iso_stream_status(Self(self).Native(), id, &status);
  };
  parser.start_interrupt_receiving_func = [](void* self, std::uint64_t id,
                                             usb_redir_start_interrupt_receiving_header* asked) {
    usb_redir_interrupt_receiving_status_header status{usb_redir_inval, asked->endpoint};
    usbredirparser_send_interrupt_receiving_status(Self(self).Native(), id, &status);
  };
  parser.stop_interrupt_receiving_func = [](void* self, std::uint64_t id,
                                            usb_redir_stop_interrupt_receiving_header* asked) {
    usb_redir_interrupt_receiving_status_header status{usb_redir_inval, asked->endpoint};
    usbredirparser_send_interrupt_receiving_status(Self(self).Native(), id, &status);
  };
  parser.alloc_bulk_streams_func = [](void*, std::uint64_t, usb_redir_alloc_bulk_streams_header*) {};
  parser.free_bulk_streams_func = [](void*, std::uint64_t, usb_redir_free_bulk_streams_header*) {};
  parser.start_bulk_receiving_func = [](void*, std::uint64_t, usb_redir_start_bulk_receiving_header*) {};
  parser.stop_bulk_receiving_func = [](void*, std::uint64_t, usb_redir_stop_bulk_receiving_header*) {};
  parser.iso_packet_func = [](void* self, std::uint64_t, usb_redir_iso_packet_header*, std::uint8_t* data, int) {
    usbredirparser_free_packet_data(Self(self).Native(), data);
  };
  parser.interrupt_packet_func = [](void* self, std::uint64_t, usb_redir_interrupt_packet_header*,
                                    std::uint8_t* data,
                                    int) { usbredirparser_free_packet_data(Self(self).Native(), data); };
}

}  // namespace

RedirParser::RedirParser(int socket, RedirEvents& events)
    : parser_(usbredirparser_create()), socket_(socket), events_(events) {
  if (parser_ == nullptr) throw std::bad_alloc();
  parser_->priv = this;
  parser_->log_func = Log;
  parser_->read_func = ReadSocket;
  parser_->write_func = WriteSocket;
  SetCallbacks();
  RefuseWhatCamerasLack(*parser_);
  std::uint32_t capabilities[USB_REDIR_CAPS_SIZE] = {};
  for (const int capability :
       {usb_redir_cap_connect_device_version, usb_redir_cap_filter, usb_redir_cap_device_disconnect_ack,
        usb_redir_cap_ep_info_max_packet_size, usb_redir_cap_64bits_ids, usb_redir_cap_32bits_bulk_length})
    usbredirparser_caps_set_cap(capabilities, capability);
  usbredirparser_init(parser_.get(), kVersion, capabilities, USB_REDIR_CAPS_SIZE, usbredirparser_fl_usb_host);
}

void RedirParser::SetCallbacks() {
  parser_->hello_func = [](void* self, usb_redir_hello_header*) { Self(self).events_.OnHello(); };
  parser_->reset_func = [](void* self) { Self(self).events_.OnReset(); };
  parser_->device_disconnect_ack_func = [](void* self) { Self(self).events_.OnDisconnectAck(); };
  parser_->filter_reject_func = [](void* self) { Self(self).events_.OnRefused(); };
  parser_->filter_filter_func = [](void*, usbredirfilter_rule* rules, int) { std::free(rules); };
  parser_->set_configuration_func = [](void* self, std::uint64_t id, usb_redir_set_configuration_header* asked) {
    Self(self).events_.OnSetConfiguration(id, asked->configuration);
  };
  parser_->get_configuration_func = [](void* self, std::uint64_t id) {
    Self(self).events_.OnGetConfiguration(id);
  };
  parser_->set_alt_setting_func = [](void* self, std::uint64_t id, usb_redir_set_alt_setting_header* asked) {
    Self(self).events_.OnSetAltSetting(id, asked->interface, asked->alt);
  };
  parser_->get_alt_setting_func = [](void* self, std::uint64_t id, usb_redir_get_alt_setting_header* asked) {
    Self(self).events_.OnGetAltSetting(id, asked->interface);
  };
  parser_->cancel_data_packet_func = [](void* self, std::uint64_t id) { Self(self).events_.OnCancel(id); };
  parser_->control_packet_func = [](void* self, std::uint64_t id, usb_redir_control_packet_header* header,
                                    std::uint8_t* data, int bytes) {
    Self(self).events_.OnControl(id, *header, {data, static_cast<std::size_t>(bytes)});
    usbredirparser_free_packet_data(Self(self).Native(), data);
  };
  parser_->bulk_packet_func = [](void* self, std::uint64_t id, usb_redir_bulk_packet_header* header,
                                 std::uint8_t* data, int) {
    Self(self).events_.OnBulk(id, *header);
    usbredirparser_free_packet_data(Self(self).Native(), data);
  };
}

bool RedirParser::Read() {
  while (usbredirparser_do_read(parser_.get()) == usbredirparser_read_parse_error) {
  }  // it goes on behind the packet that was wrong
  return !gone_;
}

bool RedirParser::Write() {
  return !WantsToWrite() || (usbredirparser_do_write(parser_.get()) == 0 && !gone_);
}

int RedirParser::ReadSocket(void* self, std::uint8_t* data, int count) {
  const ssize_t came = ::recv(Self(self).socket_, data, static_cast<std::size_t>(count), MSG_DONTWAIT);
  if (came > 0) return static_cast<int>(came);
  const bool later = came < 0 && (errno == EAGAIN || errno == EINTR);
  Self(self).gone_ = Self(self).gone_ || !later;
  return later ? 0 : -1;
}

int RedirParser::WriteSocket(void* self, std::uint8_t* data, int count) {
  const ssize_t went =
      ::send(Self(self).socket_, data, static_cast<std::size_t>(count), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (went >= 0) return static_cast<int>(went);
  return errno == EAGAIN || errno == EINTR ? 0 : -1;
}

}  // namespace orq
