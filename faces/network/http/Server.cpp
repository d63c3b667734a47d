// The one place that knows libmicrohttpd. Its threads only read requests and send answers; a request that has come
// whole is handled by a thread of ours while its connection is suspended.
#include "http/Server.h"

#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <set>
#include <string>
#include <utility>

#include "http/Responder.h"
#include "http/Workers.h"

namespace orq::network {
namespace {

const std::vector<std::pair<const char*, const char*>> kHeadersOfAll = {
    {"Cache-Control", "no-store"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Content-Security-Policy",
     "default-src 'self'; img-src 'self' blob: data:; base-uri 'none'; form-action 'self'; frame-ancestors "
     "'none'"},
};

struct ResponseFree {
  void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};
using MhdResponse = std::unique_ptr<MHD_Response, ResponseFree>;

// Makes libmicrohttpd's answer of ours; bodies that are shared are not copied.
struct BodyMaker {
  MHD_Response* operator()(std::string& text) const {
    auto* const held = new std::string(std::move(text));
    return MHD_create_response_from_buffer_with_free_callback_cls(
        held->size(), held->data(), [](void* user) { delete static_cast<std::string*>(user); }, held);
  }
  MHD_Response* operator()(SharedBytes& bytes) const {
    auto* const held = new SharedBytes(std::move(bytes));
    return MHD_create_response_from_buffer_with_free_callback_cls(
        // It only reads them; its functions took what they read as void* once, and still do.
        held->size, const_cast<std::uint8_t*>(held->data),
        [](void* user) { delete static_cast<SharedBytes*>(user); }, held);
  }
  MHD_Response* operator()(GeneratedBody& body) const {
    auto* const held = new GeneratedBody(std::move(body));
    return MHD_create_response_from_callback(held->size.value_or(MHD_SIZE_UNKNOWN), held->block, &BodyMaker::fill,
                                             held, [](void* user) { delete static_cast<GeneratedBody*>(user); });
  }
  MHD_Response* operator()(FileBody& file) const {
    // libmicrohttpd closes the descriptor that it is given.
    const int own = dup(*file.descriptor);
    return own < 0 ? nullptr : MHD_create_response_from_fd_at_offset64(file.size, own, file.start);
  }

  static ssize_t fill(void* user, std::uint64_t at, char* to, std::size_t room) {
    try {
      const std::size_t written = static_cast<GeneratedBody*>(user)->fill(at, to, room);
      return written == 0 ? MHD_CONTENT_READER_END_OF_STREAM : static_cast<ssize_t>(written);
    } catch (...) {
      return MHD_CONTENT_READER_END_WITH_ERROR;
    }
  }
};

MhdResponse mhdResponseOf(Response& response) {
  MhdResponse made(std::visit(BodyMaker(), response.body));
  if (!made) return made;
  for (const auto& [name, value] : response.headers)
    MHD_add_response_header(made.get(), name.c_str(), value.c_str());
  for (const auto& [name, value] : kHeadersOfAll)
    if (MHD_get_response_header(made.get(), name) == nullptr) MHD_add_response_header(made.get(), name, value);
  return made;
}

std::optional<Address> addressOf(int socket, int (*ask)(int, sockaddr*, socklen_t*)) {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  if (ask(socket, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return std::nullopt;
  return Address::of(reinterpret_cast<const sockaddr&>(storage));
}

// One request on its way, owned by libmicrohttpd's threads.
struct Exchange {
  MHD_Connection* connection = nullptr;
  Request request;
  bool begun = false;
  std::optional<Response> response;
};

// The requests whose connections are suspended. Whoever takes one out of here writes its answer; both under the
// lock, so that no connection goes on that the end of the server has already released.
class Suspended {
 public:
  /// False: the server ends.
  bool suspend(Exchange& exchange) {
    const std::scoped_lock lock(mutex_);
    if (ended_) return false;
    MHD_suspend_connection(exchange.connection);
    exchanges_.insert(&exchange);
    return true;
  }

  void resume(Exchange* exchange, Response response) {
    const std::scoped_lock lock(mutex_);
    if (exchanges_.erase(exchange) == 0) return;  // the server has ended
    exchange->response = std::move(response);
    MHD_resume_connection(exchange->connection);
  }

  void end() {
    const std::scoped_lock lock(mutex_);
    ended_ = true;
    for (Exchange* exchange : exchanges_) {
      exchange->response = endResponse();
      MHD_resume_connection(exchange->connection);
    }
    exchanges_.clear();
  }

  static Response endResponse() { return Response::failure(503, "cancelled", "the server ends"); }

 private:
  std::mutex mutex_;
  std::set<Exchange*> exchanges_;
  bool ended_ = false;
};

bool isBodyTooLong(const Request& request, std::size_t most) {
  const std::string text = request.header("Content-Length").value_or("0");
  return text.size() > 9 || std::strtoull(text.c_str(), nullptr, 10) > most;
}

}  // namespace

class Server::Inside {
 public:
  Inside(std::vector<Listener> listeners, const Router& router, Guard guard, const ServerLimits& limits)
      : router_(router),
        guard_(std::move(guard)),
        limits_(limits),
        connections_(limits.patience),
        workers_(limits.handlerThreads, limits.waitingRequests) {
    for (Listener& listener : listeners) start(listener);
  }

  ~Inside() { stop(); }

  void stop() {
    std::vector<int> sockets;
    for (MHD_Daemon* daemon : daemons_)
      if (const int socket = MHD_quiesce_daemon(daemon); socket != MHD_INVALID_SOCKET) sockets.push_back(socket);
    suspended_->end();
    for (MHD_Daemon* daemon : daemons_) MHD_stop_daemon(daemon);
    // Not before: each thread takes it out of what it waits for, and its number could be another file's by then.
    for (const int socket : sockets) close(socket);
    daemons_.clear();
    workers_.end();
  }

 private:
  void start(Listener& listener) {
    const int socket = listener.take();
    MHD_Daemon* const daemon =
        MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME |
                             (listener.address().isIpv4() ? MHD_NO_FLAG : MHD_USE_IPv6),
                         0, nullptr, nullptr, &Inside::handle, this,                         //
                         MHD_OPTION_LISTEN_SOCKET, socket,                                   //
                         MHD_OPTION_THREAD_POOL_SIZE, limits_.connectionThreads,             //
                         MHD_OPTION_CONNECTION_LIMIT, limits_.connections,                   //
                         MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits_.connectionsPerAddress,  //
                         MHD_OPTION_CONNECTION_MEMORY_LIMIT, limits_.headerBytes,            //
                         MHD_OPTION_STRICT_FOR_CLIENT, 1,                                    //
                         MHD_OPTION_NOTIFY_CONNECTION, &Inside::notifyConnection, this,      //
                         MHD_OPTION_URI_LOG_CALLBACK, &Inside::begin, this,                  //
                         MHD_OPTION_NOTIFY_COMPLETED, &Inside::completed, this,              //
                         MHD_OPTION_END);
    if (daemon == nullptr) {
      close(socket);
      throw Error(ORQ_ERROR_INTERNAL, "no HTTP server can be started at " + listener.text());
    }
    daemons_.push_back(daemon);
  }

  static void notifyConnection(void* user, MHD_Connection* connection, void** context,
                               MHD_ConnectionNotificationCode code) {
    auto& self = *static_cast<Inside*>(user);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      const int socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
      *context = new Connections::Handle(self.connections_.opened(socket));
    } else if (*context != nullptr) {
      const std::unique_ptr<Connections::Handle> handle(static_cast<Connections::Handle*>(*context));
      self.connections_.closed(*handle);
    }
  }

  static Connections::Handle handleOf(MHD_Connection* connection) {
    return *static_cast<Connections::Handle*>(
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
  }

  // The request line has come; what is returned is this request's context from then on.
  static void* begin(void* /*user*/, const char* target, MHD_Connection* connection) {
    auto exchange = std::make_unique<Exchange>();
    exchange->connection = connection;
    const std::string_view all = target;
    const std::size_t end = std::min(all.find('?'), all.size());
    const std::optional<std::string> path = unescape(all.substr(0, end), false);
    const std::optional<Parameters> query = Parameters::parse(all.substr(std::min(end + 1, all.size())));
    if (path && query && path->starts_with('/')) {
      exchange->request.path = *path;
      exchange->request.query = *query;
    } else {
      exchange->response = Response::failure(400, "invalid", "the address of the request is malformed");
    }
    return exchange.release();
  }

  static void completed(void* user, MHD_Connection* connection, void** context,
                        MHD_RequestTerminationCode /*code*/) {
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*context));
    *context = nullptr;
    static_cast<Inside*>(user)->connections_.answered(handleOf(connection));
  }

  // Called for the head of a request, then for each piece of its body, then for its end, and once more when its
  // suspended connection goes on.
  static MHD_Result handle(void* user, MHD_Connection* connection, const char* /*url*/, const char* method,
                           const char* /*version*/, const char* piece, std::size_t* size, void** context) {
    auto& self = *static_cast<Inside*>(user);
    auto& exchange = *static_cast<Exchange*>(*context);
    try {
      if (!exchange.begun) {
        exchange.begun = true;
        self.readHead(exchange, method);
        return exchange.response ? self.send(exchange) : MHD_YES;
      }
      if (exchange.response) return self.send(exchange);
      if (*size > 0) {
        if (exchange.request.body.size() + *size > self.limits_.bodyBytes) return MHD_NO;  // it hid its length
        exchange.request.body.append(piece, *size);
        *size = 0;
        return MHD_YES;
      }
      self.connections_.requested(handleOf(connection));
      return self.dispatch(exchange) ? MHD_YES : self.send(exchange);
    } catch (const std::exception&) {
      return MHD_NO;
    }
  }

  void readHead(Exchange& exchange, const char* method) {
    Request& request = exchange.request;
    request.method = std::strcmp(method, "HEAD") == 0 ? "GET" : method;
    MHD_get_connection_values_n(
        exchange.connection, MHD_HEADER_KIND,
        [](void* user, MHD_ValueKind, const char* name, std::size_t nameSize, const char* value,
           std::size_t valueSize) {
          static_cast<Request*>(user)->headers.emplace_back(std::string(name, nameSize),
                                                            value == nullptr ? "" : std::string(value, valueSize));
          return MHD_YES;
        },
        &request);
    if (exchange.response) return;
    const int socket = MHD_get_connection_info(exchange.connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    const std::optional<Address> peer = addressOf(socket, getpeername);
    const std::optional<Address> local = addressOf(socket, getsockname);
    if (!peer || !local) {
      exchange.response = Response::failure(400, "lost", "the connection is gone");
      return;
    }
    request.peer = *peer;
    exchange.response = guard_.stop(request, *local, router_.doorOf(request.path));
    if (!exchange.response) exchange.response = router_.refuse(request.method, request.path);
    if (!exchange.response && isBodyTooLong(request, limits_.bodyBytes)) {
      exchange.response = Response::failure(
          413, "range", "a request holds at most " + std::to_string(limits_.bodyBytes) + " bytes");
    }
  }

  // False: it has its answer already. Otherwise another thread may be writing that by now.
  bool dispatch(Exchange& exchange) {
    auto request = std::make_shared<Request>(std::move(exchange.request));
    if (!suspended_->suspend(exchange)) {
      exchange.response = Suspended::endResponse();
      return false;
    }
    const Responder responder([suspended = suspended_, &exchange](Response response) {
      suspended->resume(&exchange, std::move(response));
    });
    const bool taken =
        workers_.run([this, request, responder] { router_.handle(std::move(*request), responder); });
    if (!taken)
      responder.answer(Response::failure(503, "busy", "too many requests wait already; try again later"));
    return true;
  }

  MHD_Result send(Exchange& exchange) {
    connections_.answering(handleOf(exchange.connection), exchange.response->size());
    const MhdResponse made = mhdResponseOf(*exchange.response);
    if (!made) return MHD_NO;
    return MHD_queue_response(exchange.connection, static_cast<unsigned>(exchange.response->status), made.get());
  }

  const Router& router_;
  const Guard guard_;
  const ServerLimits limits_;
  Connections connections_;
  const std::shared_ptr<Suspended> suspended_ = std::make_shared<Suspended>();  // answers may outlive the server
  std::vector<MHD_Daemon*> daemons_;
  Workers workers_;
};

Server::Server(std::vector<Listener> listeners, const Router& router, Guard guard, const ServerLimits& limits)
    : inside_(std::make_unique<Inside>(std::move(listeners), router, std::move(guard), limits)) {}

Server::~Server() = default;

void Server::stop() {
  inside_->stop();
}

}  // namespace orq::network
