// orqcam-serve: cameras on the network. Started by `orqcam serve`, which knows its options.
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Log.h"
#include "Options.h"
#include "alpaca/AlpacaRoutes.h"
#include "alpaca/discovery/Discovery.h"
#include "cameras/Cameras.h"
#include "http/Guard.h"
#include "http/Listener.h"
#include "http/Router.h"
#include "http/Server.h"
#include "live/LiveRoutes.h"
#include "state/StateRoutes.h"

namespace orq::network {
namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// The signals that end the server; blocked in every thread, so that one thread can wait for them.
sigset_t endSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return signals;
}

// The first one has to be the one that works from this computer.
std::vector<std::string> addressesOf(const std::vector<Listener>& listeners, const Options& options) {
  std::vector<std::string> addresses;
  for (const Listener& listener : listeners) {
    std::string where = listener.text();
    if (listener.address().isAny())
      where = (listener.address().isIpv4() ? "127.0.0.1:" : "[::1]:") + std::to_string(listener.port());
    addresses.push_back("http://" + where + "/" + (options.token ? "?token=" + *options.token : ""));
  }
  return addresses;
}

// Somebody may have the port for himself: clients that know the address come anyway.
void discover(std::optional<alpaca::Discovery>& discovery, const alpaca::DiscoverySettings& settings) {
  try {
    discovery.emplace(settings);
  } catch (const Error& error) {
    logLine(error.what());
  }
}

void tellStart(const std::vector<std::string>& addresses, const Options& options) {
  if (options.json)
    std::printf("%s\n", nlohmann::json{{"addresses", addresses}}.dump().c_str());
  else
    for (const std::string& address : addresses) std::printf("orqcam serves at %s\n", address.c_str());
  std::fflush(stdout);
}

void serve(const Options& options) {
  const sigset_t signals = endSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  const LogSink log(options.debug ? ORQ_LOG_DEBUG : ORQ_LOG_WARNING, [](int, const char* line) { logLine(line); });

  std::vector<Listener> listeners;
  for (const Address& address : options.listen) {
    // One port for all, also where the system chooses it.
    listeners.emplace_back(address, listeners.empty() ? options.port : listeners.front().port());
  }
  Cameras cameras(options.cameras);
  Live live(cameras, options.folder);
  Router router;
  addStateRoutes(router, cameras);
  addLiveRoutes(router, live);
  const std::shared_ptr<alpaca::Devices> devices = alpaca::addAlpacaRoutes(router, cameras);

  ServerLimits limits;
  limits.patience.request = std::chrono::seconds(options.clientSeconds);
  const std::uint16_t port = listeners.front().port();
  const std::vector<std::string> addresses = addressesOf(listeners, options);
  Server server(std::move(listeners), router, Guard({options.hosts, options.token, options.alpacaAllow}), limits);
  std::optional<alpaca::Discovery> discovery;
  if (options.discovery) discover(discovery, {options.listen, options.alpacaAllow, port});
  tellStart(addresses, options);
  int signal = 0;
  sigwait(&signals, &signal);
  cameras.abort();
  server.stop();
  cameras.abort();  // what was begun meanwhile
}

// Where a program reads them, errors are JSON.
int complain(const Error& error, bool json) {
  const int code = error.status() == ORQ_ERROR_INVALID ? kExitUsage : kExitFailed;
  if (json) {
    const nlohmann::json told = {
        {"error", statusName(error.status())}, {"message", error.what()}, {"exit_code", code}};
    // A path or an option that it speaks of may be no UTF-8.
    std::fprintf(stderr, "%s\n", told.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  } else {
    std::fprintf(stderr, "orqcam serve: %s\n", error.what());
  }
  return code;
}

int run(const std::vector<std::string>& arguments) {
  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  try {
    const Options options = parseOptions(arguments);
    serve(options);
    return 0;
  } catch (const Error& error) {
    return complain(error, json);
  } catch (const std::exception& error) {
    return complain(Error(ORQ_ERROR_INTERNAL, error.what()), json);
  }
}

}  // namespace
}  // namespace orq::network

int main(int argc, char** argv) {
  try {
    return orq::network::run({argv + 1, argv + argc});
  } catch (...) {
    return 1;  // there is no memory even for saying so
  }
}
