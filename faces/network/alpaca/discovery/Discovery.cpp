#include "alpaca/discovery/Discovery.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>

namespace orq::network::alpaca {
namespace {

constexpr std::uint16_t kDiscoveryPort = 32227;
constexpr std::string_view kQuestion = "alpacadiscovery1";

constexpr in6_addr kGroup = {{{0xff, 0x12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0xa1, 0x9a, 0xca}}};
constexpr int kJoinEveryMs = 10'000;

// What came with a datagram: the address at which it arrived. Null: it is of the other family.
template <class Info>
Info* arrivalOf(msghdr& message, int level, int type) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part))
    if (part->cmsg_level == level && part->cmsg_type == type) return reinterpret_cast<Info*>(CMSG_DATA(part));
  return nullptr;
}

Address addressOf(const in_addr& four) {
  sockaddr_in made{};
  made.sin_family = AF_INET;
  made.sin_addr = four;
  return Address::of(reinterpret_cast<const sockaddr&>(made)).value_or(Address());
}

Address addressOf(const in6_addr& six) {
  sockaddr_in6 made{};
  made.sin6_family = AF_INET6;
  made.sin6_addr = six;
  return Address::of(reinterpret_cast<const sockaddr&>(made)).value_or(Address());
}

// All IPv6 addresses of one of this computer's interfaces.
std::vector<Address> addressesOf(unsigned interface) {
  std::vector<Address> found;
  ifaddrs* all = nullptr;
  if (getifaddrs(&all) != 0) return found;
  for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET6) continue;
    if (if_nametoindex(one->ifa_name) != interface) continue;
    if (const std::optional<Address> address = Address::of(*one->ifa_addr)) found.push_back(*address);
  }
  freeifaddrs(all);
  return found;
}

}  // namespace

bool asksForServers(std::string_view datagram) {
  return datagram.starts_with(kQuestion);
}

Discovery::Discovery(DiscoverySettings settings) : settings_(std::move(settings)) {
  const auto listens = [this](bool isIpv4) {
    return std::any_of(settings_.listening.begin(), settings_.listening.end(),
                       [&](const Address& address) { return address.isIpv4() == isIpv4; });
  };
  try {
    end_ = eventfd(0, EFD_CLOEXEC);
    if (listens(true)) hear(true);
    if (listens(false)) {
      hear(false);
      joinGroup();  // before anybody is told that the server is there
    }
  } catch (...) {
    closeAll();
    throw;
  }
  thread_ = std::thread([this] { run(); });
}

Discovery::~Discovery() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = write(end_, &one, sizeof one);
  thread_.join();
  closeAll();
}

void Discovery::closeAll() {
  for (const int each : {four_, six_, end_})
    if (each >= 0) close(each);
}

void Discovery::hear(bool isIpv4) {
  // Broadcasts, and what is for a group, reach no socket that is bound to one address.
  sockaddr_in four{};
  four.sin_family = AF_INET;
  four.sin_port = htons(kDiscoveryPort);
  sockaddr_in6 six{};
  six.sin6_family = AF_INET6;
  six.sin6_port = htons(kDiscoveryPort);
  const auto* const where =
      isIpv4 ? reinterpret_cast<const sockaddr*>(&four) : reinterpret_cast<const sockaddr*>(&six);
  const socklen_t size = isIpv4 ? sizeof four : sizeof six;
  const bool isLocal =
      std::all_of(settings_.listening.begin(), settings_.listening.end(),
                  [&](const Address& address) { return address.isIpv4() != isIpv4 || address.isLoopback(); });
  const int on = 1;
  const int made = socket(where->sa_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  (isIpv4 ? four_ : six_) = made;
  // Then not even a datagram from elsewhere reaches this program; old kernels leave that to listeningAt().
  if (isLocal) setsockopt(made, SOL_SOCKET, SO_BINDTODEVICE, "lo", 2);
  bool fine = made >= 0 && end_ >= 0 && setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0;
  if (isIpv4) {
    fine = fine && setsockopt(made, IPPROTO_IP, IP_PKTINFO, &on, sizeof on) == 0;
  } else {
    fine = fine && setsockopt(made, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) == 0 &&
           setsockopt(made, IPPROTO_IPV6, IPV6_RECVPKTINFO, &on, sizeof on) == 0;
  }
  if (fine && bind(made, where, size) == 0) return;
  throw BusyError("Alpaca's discovery port " + std::to_string(kDiscoveryPort) +
                  " cannot be had: " + std::strerror(errno) + "; leave it out with --no-discovery");
}

// On every interface; those that it has joined already refuse, which is as well.
void Discovery::joinGroup() {
  struct if_nameindex* const all = if_nameindex();
  if (all == nullptr) return;
  for (const struct if_nameindex* one = all; one->if_index != 0; ++one) {
    const ipv6_mreq wish{kGroup, one->if_index};
    setsockopt(six_, IPPROTO_IPV6, IPV6_JOIN_GROUP, &wish, sizeof wish);
  }
  if_freenameindex(all);
}

bool Discovery::isAllowed(const Address& peer) const {
  return peer.isLoopback() || std::any_of(
                                  settings_.allow.begin(), settings_.allow.end(),
                                  [&](const AddressBlock& block) { return block.holds(peer); });
}

// Where Alpaca listens of what was asked; the address that stands for all is as good as each. Nothing: nowhere
// there.
std::optional<Address> Discovery::listeningAt(const std::vector<Address>& asked) const {
  for (const Address& local : asked) {
    for (const Address& address : settings_.listening)
      if (address == local || (address.isAny() && address.isIpv4() == local.isIpv4())) return address;
  }
  return std::nullopt;
}

void Discovery::answerOne(int socket) {
  std::array<char, 64> question{};
  alignas(cmsghdr) std::array<char, 128> control{};
  sockaddr_storage peer{};
  iovec text{question.data(), question.size()};
  msghdr message{};
  message.msg_name = &peer;
  message.msg_namelen = sizeof peer;
  message.msg_iov = &text;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t size = recvmsg(socket, &message, 0);
  if (size <= 0 || !asksForServers({question.data(), static_cast<std::size_t>(size)})) return;
  const std::optional<Address> from = Address::of(reinterpret_cast<const sockaddr&>(peer));
  if (!from || !isAllowed(*from)) return;

  // The same control data sends the answer from the address that was asked.
  if (const auto* const four = arrivalOf<in_pktinfo>(message, IPPROTO_IP, IP_PKTINFO)) {
    if (!listeningAt({addressOf(four->ipi_spec_dst)})) return;
  } else if (auto* const six = arrivalOf<in6_pktinfo>(message, IPPROTO_IPV6, IPV6_PKTINFO)) {
    const bool isGroup = IN6_IS_ADDR_MULTICAST(&six->ipi6_addr);
    const auto ours =
        listeningAt(isGroup ? addressesOf(six->ipi6_ifindex) : std::vector{addressOf(six->ipi6_addr)});
    if (!ours) return;
    // A group sends nothing: one of ours does, or the one that the system chooses.
    if (isGroup) std::memcpy(&six->ipi6_addr, ours->bytes().data(), sizeof six->ipi6_addr);
  } else {
    return;
  }
  std::string answer = "{\"AlpacaPort\":" + std::to_string(settings_.port) + "}";
  text = {answer.data(), answer.size()};
  sendmsg(socket, &message, 0);
}

void Discovery::run() {
  std::array<pollfd, 3> waits{{{four_, POLLIN, 0}, {six_, POLLIN, 0}, {end_, POLLIN, 0}}};  // -1 is passed over
  const int patience = six_ >= 0 ? kJoinEveryMs : -1;
  for (;;) {
    const int ready = poll(waits.data(), waits.size(), patience);
    if (ready < 0 && errno != EINTR) return;
    if (ready == 0) joinGroup();  // again and again: interfaces come and go
    if (ready <= 0) continue;
    if (waits[2].revents != 0) return;
    if (waits[0].revents != 0) answerOne(four_);
    if (waits[1].revents != 0) answerOne(six_);
  }
}

}  // namespace orq::network::alpaca
