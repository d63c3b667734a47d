#include "emulation/bus/DeviceNode.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "emulation/bus/PreloadProtocol.h"

namespace orq {
namespace {

using Clock = FrameEndpoint::Clock;

/// The preloaded library takes this result as "not emulated" and makes the call on the terminal itself.
constexpr std::int64_t kNotEmulated = -100;
constexpr std::size_t kFixedPolls = 2;  ///< the wake-up and the listener stand before the clients

bool Fail(std::string& error, const char* what) {
  error = std::string(what) + ": " + std::strerror(errno);
  return false;
}

/// Drops a wake-up that has been noticed.
void Drain(int eventFd) {
  eventfd_t count = 0;
  (void)::eventfd_read(eventFd, &count);
}

}  // namespace

std::unique_ptr<DeviceNode> DeviceNode::Make(const Settings& settings, std::shared_ptr<VirtualCamera> camera,
                                             UsbMemory& memory, std::string& error) {
  std::unique_ptr<DeviceNode> node(new DeviceNode(settings, std::move(camera), memory));
  const MutexLock lock(node->mutex_);
  if (!node->OpenTerminal(error) || !node->Listen(error)) return nullptr;
  node->camera_->SetWake([wake = node->wake_] { (void)::eventfd_write(wake->Get(), 1); });
  node->ShowReadiness();
  node->thread_ = std::thread([raw = node.get()] { raw->Run(); });
  return node;
}

DeviceNode::DeviceNode(const Settings& settings, std::shared_ptr<VirtualCamera> camera, UsbMemory& memory)
    : settings_(settings),
      camera_(camera),
      wake_(std::make_shared<FileDescriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
      file_(std::move(camera), settings.identity, settings.address, memory) {}

DeviceNode::~DeviceNode() {
  {
    const MutexLock lock(mutex_);
    quit_ = true;
  }
  Poke();
  if (thread_.joinable()) thread_.join();
  ::unlink(settings_.socketPath.c_str());
}

/// A terminal can be polled like a device file: output stopped is "nothing to reap", hung up is "unplugged".
bool DeviceNode::OpenTerminal(std::string& error) {
  master_ = FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!master_.Open() || ::grantpt(master_.Get()) != 0 || ::unlockpt(master_.Get()) != 0)
    return Fail(error, "no pseudo terminal");
  char name[64];
  terminal_ = FileDescriptor(::ioctl(master_.Get(), TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal_.Open() || ::ptsname_r(master_.Get(), name, sizeof name) != 0)
    return Fail(error, "no pseudo terminal");
  terminalPath_ = name;
  termios raw{};
  ::cfmakeraw(&raw);
  return ::tcsetattr(terminal_.Get(), TCSANOW, &raw) == 0 || Fail(error, "no pseudo terminal");
}

bool DeviceNode::Listen(std::string& error) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (settings_.socketPath.size() >= sizeof address.sun_path) {
    error = "the temporary folder's name is too long: " + settings_.socketPath;
    return false;
  }
  std::copy(settings_.socketPath.begin(), settings_.socketPath.end(), address.sun_path);
  listener_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  // Whoever may not open the node still gets as far as this socket: the library ends a process that cannot.
  constexpr mode_t kEveryone = 0666;
  const bool listening =
      listener_.Open() &&
      ::bind(listener_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      ::chmod(settings_.socketPath.c_str(), kEveryone) == 0 && ::listen(listener_.Get(), SOMAXCONN) == 0;
  return listening || Fail(error, "no socket for the device node");
}

// From any thread --------------------------------------------------------------------------------------------

void DeviceNode::SetMode(unsigned mode) {
  const MutexLock lock(mutex_);
  (void)::fchmod(terminal_.Get(), mode);
}

void DeviceNode::Configure(int configuration) {
  const MutexLock lock(mutex_);
  file_.Configure(configuration);
}

void DeviceNode::Disconnect() {
  const MutexLock lock(mutex_);
  if (!file_.Connected()) return;
  camera_->SetWake(nullptr);
  file_.Disconnect();
  terminal_.Close();
  master_.Close();
  Poke();
}

void DeviceNode::HaltFrames() {
  const MutexLock lock(mutex_);
  file_.Frames().Halt();
  Poke();
}

void DeviceNode::FailNextTransfer(int error) {
  const MutexLock lock(mutex_);
  file_.Frames().FailNext(error);
  Poke();
}

void DeviceNode::Silence() {
  const MutexLock lock(mutex_);
  file_.Silence();
}

bool DeviceNode::InUse() const {
  const MutexLock lock(mutex_);
  return !clients_.empty();
}

void DeviceNode::Poke() const {
  (void)::eventfd_write(wake_->Get(), 1);
}

// The node's thread ------------------------------------------------------------------------------------------

void DeviceNode::Run() {
  Clock::time_point next = Clock::time_point::max();
  for (;;) {
    Wait(next);
    bool vanished = false;
    {
      const MutexLock lock(mutex_);
      if (quit_) return;
      ServeClients();
      next = file_.Frames().Serve();
      vanished = file_.Frames().Gone() && file_.Connected();
      AnswerWaiting();
      ShowReadiness();
    }
    if (vanished) settings_.onVanished();
  }
}

void DeviceNode::Wait(Clock::time_point until) {
  polled_.clear();
  polled_.push_back({wake_->Get(), POLLIN, 0});
  polled_.push_back({listener_.Get(), POLLIN, 0});
  {
    const MutexLock lock(mutex_);
    for (const Client& client : clients_) polled_.push_back({client.socket.Get(), POLLIN, 0});
  }
  if (until == Clock::time_point::max()) {
    (void)::ppoll(polled_.data(), polled_.size(), nullptr, nullptr);
  } else {
    constexpr std::int64_t kSecond = 1'000'000'000;
    const auto now = Clock::now();
    const std::int64_t ns = until > now ? std::chrono::nanoseconds(until - now).count() : 0;
    const timespec timeout{ns / kSecond, ns % kSecond};
    (void)::ppoll(polled_.data(), polled_.size(), &timeout, nullptr);
  }
  if (polled_.front().revents != 0) Drain(wake_->Get());
}

void DeviceNode::ServeClients() {
  std::size_t index = kFixedPolls;
  for (Client& client : clients_)
    if (polled_[index++].revents != 0 && !client.dead && !ServeCall(client)) Drop(client);
  std::erase_if(clients_, [](const Client& client) { return client.dead; });
  if (polled_[1].revents != 0) Accept();
}

void DeviceNode::Accept() {
  FileDescriptor socket(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
  ucred peer{};
  socklen_t bytes = sizeof peer;
  if (!socket.Open() || ::getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &bytes) != 0) return;
  Client& client = clients_.emplace_back();
  client.memory = ReachMemory(settings_.copy, peer.pid, socket.Get());
  client.opening.memory = client.memory.get();
  client.socket = std::move(socket);
}

/// One call of the client; false when it is gone.
bool DeviceNode::ServeCall(Client& client) {
  preload::Message call;
  if (!preload::ReceiveAll(client.socket.Get(), &call, sizeof call)) return false;
  ForgetDeadHolder(client);
  switch (call.command) {
    case preload::kIoctl: {
      const auto result = file_.Ioctl(client.opening, static_cast<unsigned>(call.first), call.second);
      return !result || Answer(client, *result);
    }
    case preload::kReadFile:
      return Answer(client, file_.Read(client.opening, call.first, call.second));
    case preload::kWriteFile:
      return Answer(client, CallResult::Failure(EINVAL));
    default:
      return Answer(client, {kNotEmulated, 0});
  }
}

bool DeviceNode::Answer(const Client& client, const CallResult& result) {
  const preload::Message message{preload::kDone, static_cast<std::uint64_t>(result.value),
                                 static_cast<std::uint64_t>(result.error)};
  return preload::SendAll(client.socket.Get(), &message, sizeof message);
}

void DeviceNode::AnswerWaiting() {
  for (Client& client : clients_) {
    const auto result = file_.LateAnswer(client.opening);
    if (result && !Answer(client, *result)) Drop(client);
  }
  std::erase_if(clients_, [](const Client& client) { return client.dead; });
}

/// Closing a device file frees its interface at once; here, the holder's end may still wait to be noticed.
void DeviceNode::ForgetDeadHolder(const Client& asking) {
  if (file_.Holder() == nullptr || file_.Holder() == &asking.opening) return;
  for (Client& client : clients_) {
    char byte = 0;
    if (&client.opening == file_.Holder() && ::recv(client.socket.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0) {
      Drop(client);
      return;
    }
  }
}

void DeviceNode::Drop(Client& client) {
  file_.Close(client.opening);
  client.dead = true;
}

/// Clients poll the terminal for output: it is open when there is something to reap.
void DeviceNode::ShowReadiness() {
  if (file_.Connected() && std::exchange(ready_, file_.AnyReapable()) != file_.AnyReapable())
    (void)::ioctl(terminal_.Get(), TCXONC, file_.AnyReapable() ? TCOON : TCOOFF);
}

}  // namespace orq
