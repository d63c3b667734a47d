#include "emulation/bus/UrbQueue.h"

#include <algorithm>
#include <cerrno>

namespace orq {
namespace {

/// Small enough to stay in the processor's cache between the two copies that another process's memory takes.
constexpr std::size_t kBounceBytes = std::size_t{128} << 10U;

/// The kernel's own records for one request, and the list entries of a buffer that it splits into pages of 16 KiB.
std::size_t Overhead(std::size_t bytes) {
  constexpr std::size_t kRecords = 384;
  constexpr std::size_t kListEntry = 32;
  constexpr std::size_t kPiece = 16384;
  return kRecords + kListEntry * ((bytes + kPiece - 1) / kPiece);
}

auto By(const void* owner) {
  return [owner](const std::unique_ptr<Urb>& urb) { return urb->owner == owner; };
}

}  // namespace

std::span<std::uint8_t> Urb::Window(std::size_t most) {
  if (std::uint8_t* direct = memory->Direct(Buffer())) return {direct + record.actual_length, most};
  if (memory->AnyTime()) {
    bounce->resize(kBounceBytes);
    return std::span(*bounce).first(std::min(most, kBounceBytes));
  }
  staged.resize(static_cast<std::size_t>(record.buffer_length));
  return std::span(staged).subspan(static_cast<std::size_t>(record.actual_length), most);
}

bool Urb::Keep(std::size_t bytes) {
  const std::uint64_t place = Buffer() + static_cast<std::uint64_t>(record.actual_length);
  record.actual_length += static_cast<int>(bytes);
  const bool inBounce = memory->AnyTime() && memory->Direct(Buffer()) == nullptr;
  return !inBounce || memory->Write(place, std::span(*bounce).first(bytes));
}

UrbQueue::~UrbQueue() {
  for (const auto* list : {&underWay_, &ended_})
    for (const auto& urb : *list) Refund(*urb);
}

Urb* UrbQueue::Submit(std::unique_ptr<Urb> urb) {
  const auto bytes = static_cast<std::size_t>(urb->record.buffer_length);
  urb->charge = bytes + Overhead(bytes);
  const std::size_t limit = memory_.limit;
  if (memory_.used.fetch_add(urb->charge) + urb->charge > limit && limit > 0) {
    Refund(*urb);
    return nullptr;
  }
  urb->bounce = &bounce_;
  return underWay_.emplace_back(std::move(urb)).get();
}

Urb* UrbQueue::Oldest() {
  const auto found =
      std::ranges::find_if(underWay_, [](const auto& urb) { return urb->record.type == USBDEVFS_URB_TYPE_BULK; });
  return found != underWay_.end() ? found->get() : nullptr;
}

void UrbQueue::Finish(BulkRequest& request, int status) {
  auto& urb = static_cast<Urb&>(request);
  urb.record.status = status;
  const auto place = std::ranges::find(underWay_, &urb, &std::unique_ptr<Urb>::get);
  ended_.splice(ended_.end(), underWay_, place);
}

void UrbQueue::FinishAll(int status) {
  while (!underWay_.empty()) Finish(*underWay_.front(), status);
}

bool UrbQueue::Discard(const void* owner, std::uint64_t address) {
  const auto found = std::ranges::find_if(
      underWay_, [=](const auto& urb) { return urb->owner == owner && urb->address == address; });
  if (found == underWay_.end()) return false;
  Finish(**found, -ENOENT);
  return true;
}

std::unique_ptr<Urb> UrbQueue::Reap(const void* owner) {
  const auto found = std::ranges::find_if(ended_, By(owner));
  if (found == ended_.end()) return nullptr;
  std::unique_ptr<Urb> urb = std::move(*found);
  ended_.erase(found);
  Refund(*urb);
  return urb;
}

bool UrbQueue::Holds(const void* owner) const {
  return std::ranges::any_of(underWay_, By(owner)) || std::ranges::any_of(ended_, By(owner));
}

void UrbQueue::Forget(const void* owner) {
  for (List* list : {&underWay_, &ended_}) {
    std::erase_if(
        *list,
        [&](const std::unique_ptr<Urb>& urb) {
          const bool mine = urb->owner == owner;
          if (mine) Refund(*urb);
          return mine;
        });
  }
}

void UrbQueue::Refund(const Urb& urb) {
  memory_.used -= urb.charge;
}

}  // namespace orq
