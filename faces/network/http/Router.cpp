#include "http/Router.h"

#include <algorithm>
#include <cstddef>
#include <orqcam/orqcam.hpp>
#include <utility>

namespace orq::network {
namespace {

std::vector<std::string_view> piecesOf(std::string_view path) {
  std::vector<std::string_view> pieces;
  for (std::size_t start = 1; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    pieces.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

bool isCapture(std::string_view piece) {
  return piece.size() > 2 && piece.front() == '{' && piece.back() == '}';
}

// The name of "{name...}"; empty: it is none.
std::string_view restNameOf(std::string_view piece) {
  constexpr std::string_view kRest = "...}";
  return isCapture(piece) && piece.ends_with(kRest) ? piece.substr(1, piece.size() - 1 - kRest.size())
                                                    : std::string_view();
}

int httpStatusOf(orq_status status) {
  switch (status) {
    case ORQ_ERROR_INVALID:
    case ORQ_ERROR_RANGE:
      return 400;
    case ORQ_ERROR_PERMISSION:
      return 403;
    case ORQ_ERROR_NOT_FOUND:
      return 404;
    case ORQ_ERROR_BUSY:
    case ORQ_ERROR_STATE:
    case ORQ_ERROR_CANCELLED:
      return 409;
    case ORQ_ERROR_UNSUPPORTED:
      return 422;
    case ORQ_ERROR_LOST:
    case ORQ_ERROR_MEMORY:
      return 503;
    case ORQ_ERROR_TIMEOUT:
      return 504;
    default:
      return 500;
  }
}

}  // namespace

Response failureResponse(std::exception_ptr failure) {
  try {
    std::rethrow_exception(std::move(failure));
  } catch (const Error& error) {
    return Response::failure(httpStatusOf(error.status()), statusName(error.status()), error.what());
  } catch (const std::bad_alloc&) {
    return Response::failure(503, statusName(ORQ_ERROR_MEMORY), "the computer is out of memory; try again later");
  } catch (const std::exception& error) {
    return Response::failure(500, statusName(ORQ_ERROR_INTERNAL), error.what());
  }
}

void Router::add(std::string_view method, std::string_view path, Handler handler, Door door) {
  addWaiting(
      method, path,
      [handler = std::move(handler)](const Request& request, const Responder& responder) {
        responder.answer(handler(request));
      },
      door);
}

void Router::addWaiting(std::string_view method, std::string_view path, WaitingHandler handler, Door door) {
  const std::vector<std::string_view> pieces = piecesOf(path);
  routes_.push_back({std::string(method), {pieces.begin(), pieces.end()}, std::move(handler), door});
}

std::optional<Router::Captures> Router::match(const Route& route, const std::vector<std::string_view>& pieces) {
  Captures captures;
  for (std::size_t i = 0; i < route.pieces.size(); ++i) {
    const std::string_view wanted = route.pieces[i];
    if (i >= pieces.size()) return std::nullopt;
    if (const std::string_view name = restNameOf(wanted); !name.empty()) {
      std::string rest;
      for (std::size_t j = i; j < pieces.size(); ++j) rest += (j > i ? "/" : "") + std::string(pieces[j]);
      captures.emplace(name, rest);
      return captures;
    }
    if (isCapture(wanted))
      captures.emplace(wanted.substr(1, wanted.size() - 2), pieces[i]);
    else if (wanted != pieces[i])
      return std::nullopt;
  }
  return pieces.size() == route.pieces.size() ? std::optional(captures) : std::nullopt;
}

Door Router::doorOf(std::string_view path) const {
  const std::vector<std::string_view> pieces = piecesOf(path);
  for (const Route& route : routes_)
    if (match(route, pieces)) return route.door;
  return Door::own;
}

std::optional<Response> Router::refuse(std::string_view method, std::string_view path) const {
  const std::vector<std::string_view> pieces = piecesOf(path);
  std::string allowed;
  for (const Route& route : routes_) {
    if (!match(route, pieces)) continue;
    if (route.method == method) return std::nullopt;
    allowed += (allowed.empty() ? "" : ", ") + route.method;
  }
  if (allowed.empty())
    return Response::failure(404, statusName(ORQ_ERROR_NOT_FOUND), "there is nothing at " + std::string(path));
  Response refusal = Response::failure(405, "invalid", std::string(path) + " takes " + allowed);
  refusal.headers.emplace_back("Allow", allowed);
  return refusal;
}

void Router::handle(Request request, const Responder& responder) const {
  const std::vector<std::string_view> pieces = piecesOf(request.path);
  for (const Route& route : routes_) {
    if (route.method != request.method) continue;
    std::optional<Captures> captures = match(route, pieces);
    if (!captures) continue;
    request.captures = std::move(*captures);
    try {
      route.handler(request, responder);
    } catch (...) {
      responder.answer(failureResponse(std::current_exception()));
    }
    return;
  }
}

}  // namespace orq::network
