// How long each connection may take for what it does.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <thread>

namespace orq::network {

/// How long clients may take.
struct Patience {
  std::chrono::milliseconds request = std::chrono::seconds(20);  ///< for a whole request, from the connection on
  std::chrono::milliseconds pause = std::chrono::seconds(60);    ///< from an answer to the end of the next request
  std::chrono::milliseconds answer = std::chrono::seconds(30);   ///< to take an answer, and its size beside that
  std::uint64_t bytesPerSecond = 256 * 1024;                     ///< that a client takes at least
};

/// The open connections. One that has not brought its request, or not taken its answer, in time is cut off,
/// however busy it looks: a client that sends a byte now and then is never idle. Any thread.
class Connections {
 public:
  explicit Connections(Patience patience);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  struct Connection {
    int socket;
    std::chrono::steady_clock::time_point end;
  };
  using Handle = std::list<Connection>::iterator;

  Handle opened(int socket);
  /// Before its socket is closed.
  void closed(Handle connection);
  /// Its request has come whole: what follows is our own time.
  void requested(Handle connection);
  /// An answer of that many bytes is sent.
  void answering(Handle connection, std::uint64_t bytes);
  /// It has been sent; the connection may bring another request.
  void answered(Handle connection);

 private:
  void setEnd(Handle connection, std::chrono::steady_clock::time_point end);
  void sweep();

  const Patience patience_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::list<Connection> open_;
  bool ending_ = false;
  std::thread sweeper_;
};

}  // namespace orq::network
