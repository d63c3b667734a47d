#include "http/Guard.h"

#include <algorithm>
#include <cstddef>

namespace orq::network {
namespace {

constexpr const char* kCookie = "orqcam-token";

std::size_t countOf(const Request& request, std::string_view name) {
  return static_cast<std::size_t>(std::count_if(
      request.headers.begin(), request.headers.end(),
      [name](const auto& header) { return sameButForCase(header.first, name); }));
}

std::optional<std::string> cookieOf(const Request& request, std::string_view name) {
  const std::string all = request.header("Cookie").value_or("");
  std::string_view left = all;
  while (!left.empty()) {
    std::string_view one = left.substr(0, left.find(';'));
    left.remove_prefix(std::min(left.size(), one.size() + 1));
    one.remove_prefix(std::min(one.find_first_not_of(' '), one.size()));
    const std::size_t equals = one.find('=');
    if (equals != std::string_view::npos && one.substr(0, equals) == name)
      return std::string(one.substr(equals + 1));
  }
  return std::nullopt;
}

// "Bearer TOKEN" of the header for it, else the cookie that the page was given.
std::optional<std::string> tokenOf(const Request& request) {
  constexpr std::string_view kScheme = "Bearer ";
  if (const std::optional<std::string> given = request.header("Authorization")) {
    if (given->size() >= kScheme.size() && sameButForCase(given->substr(0, kScheme.size()), kScheme))
      return given->substr(kScheme.size());
  }
  return cookieOf(request, kCookie);
}

bool isPage(const Request& request) {
  return request.method == "GET" && request.path == "/";
}

}  // namespace

bool sameSecret(const std::string& a, const std::string& b) {
  unsigned difference = a.size() == b.size() ? 0 : 1;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |=
        static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b.empty() ? '\0' : b[i % b.size()]);
  }
  return difference == 0;
}

bool Guard::isOurName(const std::string& host, const Address& local) const {
  if (const std::optional<Address> address = Address::parse(host)) return *address == local;
  if (host == "localhost" && local.isLoopback()) return true;
  return std::find(settings_.hosts.begin(), settings_.hosts.end(), host) != settings_.hosts.end();
}

std::optional<Response> Guard::stopForeign(const Request& request, const Address& local) const {
  if (countOf(request, "Host") != 1) return Response::failure(400, "invalid", "a request has one Host header");
  const std::string host = *request.header("Host");
  const std::optional<std::string> name = hostOf(host);
  if (!name || !isOurName(*name, local)) {
    return Response::failure(403, "permission",
                             "this server is not called that; start it with --host NAME, or use its address");
  }
  const std::optional<std::string> origin = request.header("Origin");
  const bool sameOrigin = !origin || *origin == "http://" + host || *origin == "https://" + host;
  const std::string site = request.header("Sec-Fetch-Site").value_or("none");
  const bool sameSite = site == "none" || site == "same-origin";
  const bool opensPage = isPage(request) && request.header("Sec-Fetch-Mode") == "navigate";
  if (countOf(request, "Origin") > 1 || !sameOrigin || (!sameSite && !opensPage))
    return Response::failure(403, "permission", "pages of other sites may not use this server");
  return std::nullopt;
}

std::optional<Response> Guard::stopWithoutToken(const Request& request) const {
  if (!settings_.token) return std::nullopt;
  if (const std::optional<std::string> given = request.query.find("token"); given && isPage(request)) {
    if (sameSecret(*given, *settings_.token)) {
      // The token leaves the address bar and the history, and stays where no script can read it.
      return Response{
          303,
          {{"Location", "/"},
           {"Set-Cookie", std::string(kCookie) + "=" + *given + "; HttpOnly; SameSite=Strict; Path=/"}},
          std::string()};
    }
  }
  if (const std::optional<std::string> given = tokenOf(request); given && sameSecret(*given, *settings_.token))
    return std::nullopt;
  if (isPage(request)) {
    return Response::text(401, "text/plain; charset=utf-8",
                          "This page needs the token: open the address that orqcam serve has printed.\n");
  }
  Response refusal = Response::failure(
      401, "permission", "the token is missing or wrong; send it as \"Authorization: Bearer TOKEN\"");
  refusal.headers.emplace_back("WWW-Authenticate", "Bearer");
  return refusal;
}

std::optional<Response> Guard::stop(const Request& request, const Address& local, Door door) const {
  if (std::optional<Response> foreign = stopForeign(request, local)) return foreign;
  if (door == Door::own) return stopWithoutToken(request);
  const bool allowed = request.peer.isLoopback() ||
                       std::any_of(settings_.alpacaAllow.begin(), settings_.alpacaAllow.end(),
                                   [&](const AddressBlock& block) { return block.holds(request.peer); });
  if (allowed) return std::nullopt;
  return Response::text(403, "text/plain; charset=utf-8",
                        "Alpaca is not open to " + request.peer.text() +
                            "; start orqcam serve with --alpaca-allow and a block of addresses that holds it.\n");
}

}  // namespace orq::network
