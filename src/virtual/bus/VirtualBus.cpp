#include "virtual/bus/VirtualBus.h"

#include <algorithm>
#include <utility>

#include "link/WireProtocol.h"

namespace orq {
namespace {

constexpr std::size_t kMostCameras = 255;

}  // namespace

bool VirtualBus::Attach(std::shared_ptr<VirtualCamera> camera) {
  const MutexLock plugging(plugMutex_);
  PullOut(*camera);
  const MutexLock lock(mutex_);
  std::erase_if(absent_, [&](const Absent& one) { return one.camera == camera; });
  if (attachments_.size() == kMostCameras) return false;
  camera->PowerCycle();
  auto attachment = std::make_shared<Attachment>();
  attachment->camera = std::move(camera);
  attachment->address = FreeAddress();
  attachments_.push_back(std::move(attachment));
  return true;
}

/// Addresses are given out in turn; there is a free one.
std::uint8_t VirtualBus::FreeAddress() {
  const auto taken = [this](std::uint8_t address) ORQ_REQUIRES(mutex_) {
    return std::ranges::any_of(attachments_, [=](const auto& other) { return other->address == address; });
  };
  while (nextAddress_ == 0 || taken(nextAddress_)) ++nextAddress_;
  return nextAddress_++;
}

void VirtualBus::Unplug(const std::shared_ptr<VirtualCamera>& camera) {
  const MutexLock plugging(plugMutex_);
  PullOut(*camera);
}

void VirtualBus::Unplug(const Attachment& attachment) {
  const MutexLock plugging(plugMutex_);
  if (Present(attachment)) PullOut(*attachment.camera);
}

void VirtualBus::PullOut(const VirtualCamera& camera) {
  std::shared_ptr<Attachment> pulled;
  {
    const MutexLock lock(mutex_);
    const auto found =
        std::ranges::find(attachments_, &camera, [](const auto& attachment) { return attachment->camera.get(); });
    if (found == attachments_.end()) return;
    pulled = *found;
    pulled->present = false;
    if (const auto replugUs = camera.Options().replugUs; replugUs > 0)
      absent_.push_back({pulled->camera, std::chrono::steady_clock::now() + std::chrono::microseconds(replugUs)});
    attachments_.erase(found);
  }
  pulled->camera->Disconnect();  // wakes the ports, which ask this bus: not under its lock
}

/// Plugs in whatever has been away for long enough.
void VirtualBus::Return() {
  std::vector<std::shared_ptr<VirtualCamera>> back;
  {
    const MutexLock lock(mutex_);
    std::erase_if(absent_, [&, now = std::chrono::steady_clock::now()](const Absent& one) {
      if (one.until > now) return false;
      back.push_back(one.camera);
      return true;
    });
  }
  for (const auto& camera : back) Attach(camera);
}

std::vector<UsbDeviceEntry> VirtualBus::List(std::uint16_t vendorId) {
  std::vector<UsbDeviceEntry> entries;
  if (vendorId != wire::kVendorId) return entries;
  Return();
  const MutexLock lock(mutex_);
  for (const auto& attachment : attachments_) {
    UsbDeviceEntry entry;
    entry.vendorId = vendorId;
    entry.productId = attachment->camera->ProductId();
    entry.index =
        static_cast<std::uint8_t>(std::ranges::count(entries, entry.productId, &UsbDeviceEntry::productId));
    entry.address = attachment->address;
    entry.speed = attachment->camera->Speed();
    entries.push_back(entry);
  }
  return entries;
}

std::shared_ptr<VirtualBus::Attachment> VirtualBus::Find(std::uint16_t vendorId, std::uint16_t productId,
                                                         std::uint8_t index) {
  Return();
  const MutexLock lock(mutex_);
  int before = index;
  for (const auto& attachment : attachments_)
    if (vendorId == wire::kVendorId && attachment->camera->ProductId() == productId && before-- == 0)
      return attachment;
  return nullptr;
}

bool VirtualBus::Present(const Attachment& attachment) const {
  const MutexLock lock(mutex_);
  return attachment.present;
}

bool VirtualBus::Claim(Attachment& attachment) {
  const MutexLock lock(mutex_);
  return !std::exchange(attachment.claimed, true);
}

void VirtualBus::Release(Attachment& attachment) {
  const MutexLock lock(mutex_);
  attachment.claimed = false;
}

bool VirtualBus::Claimed(const Attachment& attachment) const {
  const MutexLock lock(mutex_);
  return attachment.claimed;
}

void VirtualBus::RefuseOpens(UsbError error) {
  const MutexLock lock(mutex_);
  refusal_ = error;
}

UsbError VirtualBus::OpenRefusal() const {
  const MutexLock lock(mutex_);
  return refusal_;
}

}  // namespace orq
