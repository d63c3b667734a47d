// Which handler answers which request.
#pragma once

#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/Message.h"
#include "http/Responder.h"

namespace orq::network {

/// Who may use a route beyond this computer.
enum class Door {
  own,    ///< who has the token
  alpaca  ///< the addresses that were allowed
};

/// The table of routes. Filled before the server starts, only read from then on.
class Router {
 public:
  /// Answers at once, on a thread of the pool; what it throws becomes an answer, too.
  using Handler = std::function<Response(const Request&)>;
  /// Answers later, from any thread; returns soon.
  using WaitingHandler = std::function<void(const Request&, Responder)>;

  /// `path`: "/api/v1/cameras/{camera}/picture"; a {name} stands for one piece between slashes, and {name...} at
  /// its end for all that follows. The route that was added first wins.
  void add(std::string_view method, std::string_view path, Handler handler, Door door = Door::own);
  void addWaiting(std::string_view method, std::string_view path, WaitingHandler handler, Door door = Door::own);

  /// Through which door a path goes; its own one where no route has it.
  Door doorOf(std::string_view path) const;
  /// Whether a request like this can be answered at all: nothing, or 404 or 405 in words.
  std::optional<Response> refuse(std::string_view method, std::string_view path) const;
  /// Runs the handler; `request.captures` is filled in first.
  void handle(Request request, const Responder& responder) const;

 private:
  struct Route {
    std::string method;
    std::vector<std::string> pieces;
    WaitingHandler handler;
    Door door;
  };
  using Captures = std::map<std::string, std::string, std::less<>>;
  static std::optional<Captures> match(const Route& route, const std::vector<std::string_view>& pieces);

  std::vector<Route> routes_;
};

/// What a failure is answered with: the status that stands for it, its name and its text.
Response failureResponse(std::exception_ptr failure);

}  // namespace orq::network
