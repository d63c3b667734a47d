#include "emulation/bus/DeviceFile.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "link/WireProtocol.h"

namespace orq {
namespace {

constexpr std::size_t kSetupBytes = 8;
constexpr std::uint32_t kCapabilities =
    USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_BULK_SCATTER_GATHER | USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
constexpr int kLowSpeedFlag = 0;
constexpr CallResult kDone{};

SetupPacket Unpack(std::span<const std::uint8_t, kSetupBytes> bytes) {
  const auto pair = [&](std::size_t at) { return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8); };
  return {bytes[0], bytes[1], pair(2), pair(4), pair(6)};
}

/// How a request's failure on the bus shows in a completed transfer.
int BusStatus(int result) {
  switch (result) {
    case kUsbPipe:
      return -EPIPE;
    case kUsbOverflow:
      return -EOVERFLOW;
    case kUsbNoDevice:
      return -ESHUTDOWN;
    default:
      return result < 0 ? -EPROTO : 0;
  }
}

}  // namespace

DeviceFile::DeviceFile(std::shared_ptr<VirtualCamera> camera, UsbIdentity identity, std::uint8_t address,
                       UsbMemory& memory)
    : queue_(memory),
      frames_(camera, queue_, PacketBytes(identity)),
      control_(camera, std::move(identity), frames_),
      camera_(std::move(camera)),
      address_(address) {}

std::optional<CallResult> DeviceFile::Ioctl(Opening& client, unsigned request, std::uint64_t argument) {
  if (request == USBDEVFS_REAPURBNDELAY) return Reap(client, argument);
  if (request == USBDEVFS_REAPURB) {
    client.waitingReaper = argument;
    return LateAnswer(client);
  }
  return connected_ ? Connected(client, request, argument) : CallResult::Failure(ENODEV);
}

CallResult DeviceFile::Connected(Opening& client, unsigned request, std::uint64_t argument) {
  const auto withNumber = [&](auto&& action) {
    unsigned number = 0;
    return client.memory->Get(argument, number) ? action(number) : CallResult::Failure(EFAULT);
  };
  const auto put = [&](const auto& value) {
    return client.memory->Put(argument, value) ? kDone : CallResult::Failure(EFAULT);
  };
  switch (request) {
    case USBDEVFS_SUBMITURB:
      return Submit(client, argument);
    case USBDEVFS_DISCARDURB:
      return queue_.Discard(&client, argument) ? kDone : CallResult::Failure(EINVAL);
    case USBDEVFS_CLAIMINTERFACE:
      return withNumber([&](unsigned number) { return Claim(client, number); });
    case USBDEVFS_DISCONNECT_CLAIM:  // there is no driver to disconnect; the interface number comes first
      return withNumber([&](unsigned number) { return Claim(client, number); });
    case USBDEVFS_RELEASEINTERFACE:
      return withNumber([&](unsigned number) { return Release(client, number); });
    case USBDEVFS_SETCONFIGURATION:
      return withNumber([&](unsigned number) { return SetConfiguration(number); });
    case USBDEVFS_CLEAR_HALT:
    case USBDEVFS_RESETEP:
      return withNumber([&](unsigned endpoint) { return ClearHalt(client, endpoint); });
    case USBDEVFS_SETINTERFACE:
      return Claim(client, wire::kInterface);
    case USBDEVFS_RESET:
      queue_.FinishAll(-EPROTO);
      frames_.ClearHalt();
      return kDone;
    case USBDEVFS_GET_CAPABILITIES:
      return put(kCapabilities);
    case USBDEVFS_CONNECTINFO:
      return put(usbdevfs_connectinfo{address_, kLowSpeedFlag});
    case USBDEVFS_GET_SPEED: {
      constexpr int kHigh = 3;
      constexpr int kSuper = 5;
      return {control_.Identity().superSpeed ? kSuper : kHigh, 0};
    }
    case USBDEVFS_GETDRIVER:
    case USBDEVFS_IOCTL:  // attaching and detaching a kernel driver
      return CallResult::Failure(ENODATA);
    default:
      return CallResult::Failure(ENOTTY);
  }
}

CallResult DeviceFile::Read(Opening& client, std::uint64_t buffer, std::size_t bytes) {
  if (!connected_) return CallResult::Failure(ENODEV);
  Bytes all = DeviceDescriptor(control_.Identity());
  const Bytes configuration = ConfigurationDescriptor(control_.Identity());
  all.insert(all.end(), configuration.begin(), configuration.end());
  const std::size_t from = std::min(client.position, all.size());
  const std::span part = std::span(all).subspan(from, std::min(bytes, all.size() - from));
  if (!client.memory->Write(buffer, part)) return CallResult::Failure(EFAULT);
  client.position += part.size();
  return {static_cast<std::int64_t>(part.size()), 0};
}

std::optional<CallResult> DeviceFile::LateAnswer(Opening& client) {
  if (!client.waitingReaper) return std::nullopt;
  const CallResult result = Reap(client, *client.waitingReaper);
  if (result.error == EAGAIN) return std::nullopt;
  client.waitingReaper.reset();
  return result;
}

void DeviceFile::Close(const Opening& client) {
  queue_.Forget(&client);
  if (holder_ == &client) holder_ = nullptr;
}

void DeviceFile::Disconnect() {
  connected_ = false;
  holder_ = nullptr;
  queue_.FinishAll(-ESHUTDOWN);
}

void DeviceFile::Silence() {
  frames_.Silence();
  control_.Silence();
}

// Requests ---------------------------------------------------------------------------------------------------

CallResult DeviceFile::Submit(Opening& client, std::uint64_t address) {
  auto urb = std::make_unique<Urb>();
  urb->owner = &client;
  urb->memory = client.memory;
  urb->address = address;
  if (!client.memory->Get(address, urb->record)) return CallResult::Failure(EFAULT);
  urb->record.status = -EINPROGRESS;
  urb->record.actual_length = 0;
  if (urb->record.buffer_length < 0) return CallResult::Failure(EINVAL);
  if (urb->record.type == USBDEVFS_URB_TYPE_CONTROL) return SubmitControl(client, std::move(urb));
  if (urb->record.type != USBDEVFS_URB_TYPE_BULK) return CallResult::Failure(EINVAL);
  if (urb->record.endpoint != wire::kFrameEndpoint) return CallResult::Failure(ENOENT);
  if (holder_ != &client) {  // a transfer claims the interface for its client, as the kernel does
    const CallResult claimed = Claim(client, wire::kInterface);
    if (claimed.error != 0) return claimed;
  }
  return queue_.Submit(std::move(urb)) != nullptr ? kDone : CallResult::Failure(ENOMEM);
}

CallResult DeviceFile::SubmitControl(Opening& client, std::unique_ptr<Urb> urb) {
  if (static_cast<std::size_t>(urb->record.buffer_length) < kSetupBytes) return CallResult::Failure(EINVAL);
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(urb->record.buffer_length));
  if (!client.memory->Read(urb->Buffer(), buffer)) return CallResult::Failure(EFAULT);
  const SetupPacket setup = Unpack(std::span(buffer).first<kSetupBytes>());
  if (buffer.size() < kSetupBytes + setup.length) return CallResult::Failure(EINVAL);
  Urb* submitted = queue_.Submit(std::move(urb));
  if (submitted == nullptr) return CallResult::Failure(ENOMEM);
  const std::span data = std::span(buffer).subspan(kSetupBytes, setup.length);
  const int result = control_.Execute(setup, data);
  if (result == kUsbTimeout)
    return kDone;  // the camera never answers: the request stays under way until its client gives up
  submitted->record.actual_length = std::max(result, 0);
  if (setup.In() && result > 0) {
    submitted->staged.assign(data.begin(), data.begin() + result);
    submitted->stagedAt = kSetupBytes;
  }
  queue_.Finish(*submitted, BusStatus(result));
  return kDone;
}

CallResult DeviceFile::Reap(Opening& client, std::uint64_t where) {
  const std::unique_ptr<Urb> urb = queue_.Reap(&client);
  if (urb == nullptr) return CallResult::Failure(connected_ ? EAGAIN : ENODEV);
  ClientMemory& memory = *client.memory;
  if (!urb->staged.empty()) {
    const auto came = static_cast<std::size_t>(urb->record.actual_length);
    if (!memory.Write(urb->Buffer() + urb->stagedAt, std::span(urb->staged).first(came)))
      return CallResult::Failure(EFAULT);
  }
  const bool told = memory.Put(urb->address, urb->record) && memory.Put(where, urb->address);
  return told ? kDone : CallResult::Failure(EFAULT);
}

// Interface and endpoint -------------------------------------------------------------------------------------

CallResult DeviceFile::Claim(Opening& client, unsigned interfaceNumber) {
  if (interfaceNumber != wire::kInterface || control_.Configuration() == 0) return CallResult::Failure(ENOENT);
  if (holder_ != nullptr && holder_ != &client) return CallResult::Failure(EBUSY);
  holder_ = &client;
  return kDone;
}

CallResult DeviceFile::Release(const Opening& client, unsigned interfaceNumber) {
  if (interfaceNumber != wire::kInterface || holder_ != &client) return CallResult::Failure(EINVAL);
  holder_ = nullptr;
  return kDone;
}

CallResult DeviceFile::SetConfiguration(unsigned configuration) {
  if (holder_ != nullptr) return CallResult::Failure(EBUSY);
  if (configuration > wire::kConfiguration) return CallResult::Failure(EINVAL);
  if (control_.Silent()) return CallResult::Failure(ETIMEDOUT);
  control_.SetConfiguration(static_cast<int>(configuration));
  return kDone;
}

CallResult DeviceFile::ClearHalt(Opening& client, unsigned endpoint) {
  if (endpoint != wire::kFrameEndpoint) return CallResult::Failure(ENOENT);
  const CallResult claimed = Claim(client, wire::kInterface);
  if (claimed.error != 0) return claimed;
  if (control_.Silent()) return CallResult::Failure(ETIMEDOUT);
  frames_.ClearHalt();
  return kDone;
}

}  // namespace orq
