#include "http/Connections.h"

#include <sys/socket.h>

namespace orq::network {
namespace {

constexpr std::chrono::milliseconds kSweepEvery(200);

}  // namespace

Connections::Connections(Patience patience) : patience_(patience), sweeper_([this] { sweep(); }) {}

Connections::~Connections() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  sweeper_.join();
}

Connections::Handle Connections::opened(int socket) {
  const std::scoped_lock lock(mutex_);
  return open_.insert(open_.end(), {socket, std::chrono::steady_clock::now() + patience_.request});
}

void Connections::closed(Handle connection) {
  const std::scoped_lock lock(mutex_);
  open_.erase(connection);
}

void Connections::setEnd(Handle connection, std::chrono::steady_clock::time_point end) {
  const std::scoped_lock lock(mutex_);
  connection->end = end;
}

void Connections::requested(Handle connection) {
  setEnd(connection, std::chrono::steady_clock::time_point::max());
}

void Connections::answering(Handle connection, std::uint64_t bytes) {
  const std::chrono::seconds forSize(bytes / patience_.bytesPerSecond);
  setEnd(connection, std::chrono::steady_clock::now() + patience_.answer + forSize);
}

void Connections::answered(Handle connection) {
  setEnd(connection, std::chrono::steady_clock::now() + patience_.pause);
}

// A socket is closed only after closed(), which waits for the lock: the number is still that of this connection.
void Connections::sweep() {
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, kSweepEvery, [this] { return ending_; })) {
    const auto now = std::chrono::steady_clock::now();
    for (Connection& connection : open_) {
      if (connection.end > now) continue;
      shutdown(connection.socket, SHUT_RDWR);
      connection.end = std::chrono::steady_clock::time_point::max();
    }
  }
}

}  // namespace orq::network
