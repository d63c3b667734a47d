// HTTP for the handlers of a router.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "http/Connections.h"
#include "http/Guard.h"
#include "http/Listener.h"
#include "http/Router.h"

namespace orq::network {

/// Bounds of what clients may take up.
struct ServerLimits {
  std::size_t headerBytes = 32 * 1024;  ///< request line and headers; longer ones are answered 431
  std::size_t bodyBytes = 64 * 1024;    ///< longer ones are answered 413
  unsigned connections = 256;
  unsigned connectionsPerAddress = 128;
  unsigned connectionThreads = 2;  ///< per listening address; they only move bytes
  std::size_t handlerThreads = 8;
  std::size_t waitingRequests = 256;  ///< more are answered 503
  Patience patience;
};

/// Serves from its beginning to `stop`.
class Server {
 public:
  /// `router` must live as long. Throws Error where it cannot begin.
  Server(std::vector<Listener> listeners, const Router& router, Guard guard, const ServerLimits& limits);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// No new connections; requests under way are answered that the server ends. Returns when no handler runs: what
  /// handlers wait for is ended before.
  void stop();

 private:
  class Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace orq::network
