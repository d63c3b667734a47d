#include "emulation/usbredir/RedirConnection.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <utility>

#include "link/WireProtocol.h"

namespace orq {
namespace {

using Clock = FrameEndpoint::Clock;

constexpr std::size_t kEndpoints = 32;
/// A request for more is a mistake: no driver asks for so much at once.
constexpr std::size_t kLongestRequest = std::size_t{64} << 20U;
constexpr std::uint8_t kDeviceVersionMajor = 1;

/// An endpoint's place in the protocol's tables.
constexpr std::size_t Place(std::uint8_t endpoint) {
  return ((endpoint & 0x80U) >> 3U) | (endpoint & 0x0FU);
}

std::uint8_t RedirStatus(int errnoStatus) {
  switch (errnoStatus) {
    case 0:
      return usb_redir_success;
    case -EPIPE:
      return usb_redir_stall;
    case -EOVERFLOW:
      return usb_redir_babble;
    case -ENOENT:
      return usb_redir_cancelled;
    default:
      return usb_redir_ioerror;
  }
}

std::uint8_t ControlStatus(int result) {
  return result >= 0 ? usb_redir_success : result == kUsbPipe ? usb_redir_stall : usb_redir_ioerror;
}

}  // namespace

RedirConnection::RedirConnection(FileDescriptor socket, std::shared_ptr<VirtualCamera> camera,
                                 UsbIdentity identity, bool plugged)
    : socket_(std::move(socket)),
      camera_(std::move(camera)),
      identity_(std::move(identity)),
      parser_(socket_.Get(), *this),
      plugged_(plugged) {}

Clock::time_point RedirConnection::Serve() {
  ended_ = ended_ || !parser_.Read();
  const auto next = function_ != nullptr ? function_->frames.Serve() : Clock::time_point::max();
  while (function_ != nullptr && function_->requests.Ended() != nullptr) {
    AnswerBulk(*function_->requests.Ended());
    function_->requests.Forget();
  }
  ended_ = ended_ || !parser_.Write();
  return next;
}

// Plugging ---------------------------------------------------------------------------------------------------

void RedirConnection::Plug() {
  plugged_ = true;
  Announce();
}

void RedirConnection::Unplug() {
  plugged_ = false;
  if (function_ == nullptr) return;
  function_.reset();
  camera_->Disconnect();
  usbredirparser_send_device_disconnect(parser_.Native());
  awaitsAck_ = parser_.PeerAcknowledgesDisconnects();
}

void RedirConnection::Announce() {
  if (!greeted_ || !plugged_ || awaitsAck_ || function_ != nullptr) return;
  camera_->PowerCycle();
  function_ = std::make_unique<Function>(camera_, identity_);
  DescribeFunction();
  usb_redir_device_connect_header device{};
  device.speed = identity_.superSpeed ? usb_redir_speed_super : usb_redir_speed_high;
  device.vendor_id = wire::kVendorId;
  device.product_id = identity_.productId;
  device.device_version_bcd = kDeviceVersionMajor << 8;
  usbredirparser_send_device_connect(parser_.Native(), &device);
}

void RedirConnection::DescribeFunction() {
  usb_redir_interface_info_header interfaces{};
  interfaces.interface_count = 1;
  interfaces.interface[0] = wire::kInterface;
  interfaces.interface_class[0] = kVendorClass;
  usbredirparser_send_interface_info(parser_.Native(), &interfaces);

  usb_redir_ep_info_header endpoints{};
  std::fill_n(endpoints.type, kEndpoints, static_cast<std::uint8_t>(usb_redir_type_invalid));
  endpoints.type[Place(0x00)] = usb_redir_type_control;
  endpoints.type[Place(0x80)] = usb_redir_type_control;
  endpoints.type[Place(wire::kFrameEndpoint)] = usb_redir_type_bulk;
  endpoints.max_packet_size[Place(wire::kFrameEndpoint)] = static_cast<std::uint16_t>(PacketBytes(identity_));
  usbredirparser_send_ep_info(parser_.Native(), &endpoints);
}

void RedirConnection::HaltFrames() {
  if (function_ != nullptr) function_->frames.Halt();
}

void RedirConnection::FailNextTransfer(int error) {
  if (function_ != nullptr) function_->frames.FailNext(error);
}

void RedirConnection::Silence() {
  if (function_ != nullptr) {
    function_->frames.Silence();
    function_->control.Silence();
  }
}

// What the virtual machine says ------------------------------------------------------------------------------

void RedirConnection::OnHello() {
  greeted_ = true;
  Announce();
}

void RedirConnection::OnDisconnectAck() {
  awaitsAck_ = false;
  Announce();
}

void RedirConnection::OnRefused() {
  std::cerr << "orq-usbredir: the virtual machine refuses the camera\n";
}

/// A reset device has no configuration, no halted endpoint and nothing under way.
void RedirConnection::OnReset() {
  if (function_ != nullptr && !function_->control.Silent()) {
    function_->frames.ClearHalt();
    function_->control.SetConfiguration(0);
  }
}

int RedirConnection::Standard(int type, int request, int value, int index, std::span<std::uint8_t> answer) {
  const SetupPacket setup{static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(request),
                          static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(index),
                          static_cast<std::uint16_t>(answer.size())};
  return function_ != nullptr ? function_->control.Execute(setup, answer) : kUsbNoDevice;
}

void RedirConnection::OnSetConfiguration(std::uint64_t id, int configuration) {
  const int result = Standard(0x00, 0x09, configuration, 0);
  if (function_ == nullptr || result == kUsbTimeout) return;
  DescribeFunction();
  usb_redir_configuration_status_header status{ControlStatus(result), static_cast<std::uint8_t>(configuration)};
  usbredirparser_send_configuration_status(parser_.Native(), id, &status);
}

void RedirConnection::OnGetConfiguration(std::uint64_t id) {
  std::uint8_t configuration = 0;
  const int result = Standard(0x80, 0x08, 0, 0, {&configuration, 1});
  usb_redir_configuration_status_header status{ControlStatus(result), configuration};
  if (result != kUsbTimeout) usbredirparser_send_configuration_status(parser_.Native(), id, &status);
}

void RedirConnection::OnSetAltSetting(std::uint64_t id, int interfaceNumber, int alternate) {
  const int result = Standard(0x01, 0x0B, alternate, interfaceNumber);
  usb_redir_alt_setting_status_header status{ControlStatus(result), static_cast<std::uint8_t>(interfaceNumber),
                                             static_cast<std::uint8_t>(alternate)};
  if (result != kUsbTimeout) usbredirparser_send_alt_setting_status(parser_.Native(), id, &status);
}

void RedirConnection::OnGetAltSetting(std::uint64_t id, int interfaceNumber) {
  std::uint8_t alternate = 0;
  const int result = Standard(0x81, 0x0A, 0, interfaceNumber, {&alternate, 1});
  usb_redir_alt_setting_status_header status{ControlStatus(result), static_cast<std::uint8_t>(interfaceNumber),
                                             alternate};
  if (result != kUsbTimeout) usbredirparser_send_alt_setting_status(parser_.Native(), id, &status);
}

void RedirConnection::OnControl(std::uint64_t id, const usb_redir_control_packet_header& header,
                                std::span<const std::uint8_t> data) {
  const SetupPacket setup{header.requesttype, header.request, header.value, header.index, header.length};
  std::vector<std::uint8_t> buffer(header.length);
  std::copy_n(data.begin(), std::min(data.size(), buffer.size()), buffer.begin());
  const int result = function_ != nullptr ? function_->control.Execute(setup, buffer) : kUsbNoDevice;
  if (result == kUsbTimeout) {
    function_->unanswered.insert(id);
    return;
  }
  usb_redir_control_packet_header answer = header;
  answer.status = ControlStatus(result);
  answer.length = static_cast<std::uint16_t>(std::max(result, 0));
  const bool hasData = setup.In() && answer.length > 0;  // the library refuses a place without data
  usbredirparser_send_control_packet(parser_.Native(), id, &answer, hasData ? buffer.data() : nullptr,
                                     hasData ? answer.length : 0);
}

void RedirConnection::OnBulk(std::uint64_t id, const usb_redir_bulk_packet_header& header) {
  const std::size_t length = std::size_t{header.length_high} << 16U | header.length;
  if (function_ != nullptr && header.endpoint == wire::kFrameEndpoint && length <= kLongestRequest) {
    function_->requests.Submit(id, length);
    return;
  }
  usb_redir_bulk_packet_header answer = header;
  answer.status = usb_redir_inval;
  answer.length = 0;
  answer.length_high = 0;
  usbredirparser_send_bulk_packet(parser_.Native(), id, &answer, nullptr, 0);
}

void RedirConnection::OnCancel(std::uint64_t id) {
  if (function_ == nullptr || function_->requests.Cancel(id) || function_->unanswered.erase(id) == 0)
    return;  // a request that was answered already needs no second answer
  usb_redir_control_packet_header answer{};
  answer.status = usb_redir_cancelled;
  usbredirparser_send_control_packet(parser_.Native(), id, &answer, nullptr, 0);
}

void RedirConnection::AnswerBulk(const RedirRequest& request) {
  usb_redir_bulk_packet_header answer{};
  answer.endpoint = wire::kFrameEndpoint;
  answer.status = RedirStatus(request.status);
  answer.length = static_cast<std::uint16_t>(request.filled & 0xFFFFU);
  answer.length_high = static_cast<std::uint16_t>(request.filled >> 16U);
  usbredirparser_send_bulk_packet(parser_.Native(), request.id, &answer,
                                  const_cast<std::uint8_t*>(request.bytes.data()),
                                  static_cast<int>(request.filled));
}

}  // namespace orq
