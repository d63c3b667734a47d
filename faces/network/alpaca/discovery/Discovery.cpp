#include "alpaca/discovery/Discovery.h"

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

// What came with a datagram: the address at which it arrived.
const in_pktinfo* arrivalOf(msghdr& message) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
    if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_PKTINFO) {
      return reinterpret_cast<const in_pktinfo*>(CMSG_DATA(part));
    }
  }
  return nullptr;
}

Address addressOf(const in_addr& four) {
  sockaddr_in made{};
  made.sin_family = AF_INET;
  made.sin_addr = four;
  return Address::of(reinterpret_cast<const sockaddr&>(made)).value_or(Address());
}

}  // namespace

bool asksForServers(std::string_view datagram) {
  return datagram.starts_with(kQuestion);
}

Discovery::Discovery(DiscoverySettings settings) : settings_(std::move(settings)) {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(kDiscoveryPort);
  where.sin_addr.s_addr = htonl(INADDR_ANY);  // broadcasts reach no other one
  const int on = 1;
  socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  end_ = eventfd(0, EFD_CLOEXEC);
  const bool isLocal = std::all_of(settings_.listening.begin(), settings_.listening.end(),
                                   [](const Address& address) { return address.isLoopback(); });
  // Then not even a datagram from elsewhere reaches this program; old kernels leave that to isForUs().
  if (isLocal) setsockopt(socket_, SOL_SOCKET, SO_BINDTODEVICE, "lo", 2);
  const bool fine = socket_ >= 0 && end_ >= 0 &&
                    setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                    setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &on, sizeof on) == 0 &&
                    bind(socket_, reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0;
  if (!fine) {
    const int error = errno;
    if (socket_ >= 0) close(socket_);
    if (end_ >= 0) close(end_);
    throw BusyError("Alpaca's discovery port " + std::to_string(kDiscoveryPort) +
                    " cannot be had: " + std::strerror(error) + "; leave it out with --no-discovery");
  }
  thread_ = std::thread([this] { run(); });
}

Discovery::~Discovery() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = write(end_, &one, sizeof one);
  thread_.join();
  close(socket_);
  close(end_);
}

bool Discovery::isForUs(const Address& local, const Address& peer) const {
  const bool listens = std::any_of(
      settings_.listening.begin(), settings_.listening.end(),
      [&](const Address& address) { return address == local || (address.isAny() && address.isIpv4()); });
  const bool allowed =
      peer.isLoopback() || std::any_of(settings_.allow.begin(), settings_.allow.end(),
                                       [&](const AddressBlock& block) { return block.holds(peer); });
  return listens && allowed;
}

void Discovery::answerOne() {
  std::array<char, 64> question{};
  alignas(cmsghdr) std::array<char, 128> control{};
  sockaddr_in peer{};
  iovec text{question.data(), question.size()};
  msghdr message{};
  message.msg_name = &peer;
  message.msg_namelen = sizeof peer;
  message.msg_iov = &text;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t size = recvmsg(socket_, &message, 0);
  const in_pktinfo* const arrival = size > 0 ? arrivalOf(message) : nullptr;
  if (arrival == nullptr || !asksForServers({question.data(), static_cast<std::size_t>(size)})) return;
  if (!isForUs(addressOf(arrival->ipi_spec_dst), addressOf(peer.sin_addr))) return;

  std::string answer = "{\"AlpacaPort\":" + std::to_string(settings_.port) + "}";
  // The same control data sends it from the address that was asked.
  text = {answer.data(), answer.size()};
  sendmsg(socket_, &message, 0);
}

void Discovery::run() {
  std::array<pollfd, 2> waits{{{socket_, POLLIN, 0}, {end_, POLLIN, 0}}};
  while (poll(waits.data(), waits.size(), -1) >= 0 || errno == EINTR) {
    if (waits[1].revents != 0) return;
    if (waits[0].revents != 0) answerOne();
  }
}

}  // namespace orq::network::alpaca
