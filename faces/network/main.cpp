// orqcam-serve: cameras on the network. Started by `orqcam serve`, which knows its options.
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Log.h"
#include "Options.h"
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
    if (listener.address().isAny()) {
      where = (listener.address().isIpv4() ? "127.0.0.1:" : "[::1]:") + std::to_string(listener.port());
    }
    addresses.push_back("http://" + where + "/" + (options.token ? "?token=" + *options.token : ""));
  }
  return addresses;
}

void tellStart(const std::vector<Listener>& listeners, const Options& options) {
  const std::vector<std::string> addresses = addressesOf(listeners, options);
  if (options.json) {
    std::printf("%s\n", nlohmann::json{{"addresses", addresses}}.dump().c_str());
  } else {
    for (const std::string& address : addresses) std::printf("orqcam serves at %s\n", address.c_str());
  }
  std::fflush(stdout);
}

void serve(const Options& options) {
  const sigset_t signals = endSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  const Log log(options.debug ? ORQ_LOG_DEBUG : ORQ_LOG_WARNING, [](int, const char* line) { logLine(line); });

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

  ServerLimits limits;
  limits.patience.request = std::chrono::seconds(options.clientSeconds);
  tellStart(listeners, options);
  Server server(std::move(listeners), router, Guard({options.hosts, options.token, options.alpacaAllow}), limits);
  int signal = 0;
  sigwait(&signals, &signal);
  cameras.abort();
  server.stop();
}

// Where a program reads them, errors are JSON.
int complain(const Error& error, bool json) {
  const int code = error.status() == ORQ_ERROR_INVALID ? kExitUsage : kExitFailed;
  if (json) {
    const nlohmann::json told = {
        {"error", statusName(error.status())}, {"message", error.what()}, {"exit_code", code}};
    std::fprintf(stderr, "%s\n", told.dump().c_str());
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
  return orq::network::run({argv + 1, argv + argc});
}
