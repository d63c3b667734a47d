#include "emulation/usbredir/RedirCamera.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "emulation/common/Identify.h"
#include "emulation/common/ListeningSocket.h"

namespace orq {
namespace {

using Clock = FrameEndpoint::Clock;

}  // namespace

std::unique_ptr<RedirCamera> RedirCamera::Make(std::shared_ptr<VirtualCamera> camera, const std::string& path,
                                               std::string& error) {
  FileDescriptor listener = ListenAt(path, error);
  if (!listener.Open()) return nullptr;
  std::unique_ptr<RedirCamera> made(new RedirCamera(std::move(camera), path, std::move(listener)));
  made->thread_ = std::thread([raw = made.get()] { raw->Run(); });
  return made;
}

RedirCamera::RedirCamera(std::shared_ptr<VirtualCamera> camera, std::string path, FileDescriptor listener)
    : camera_(std::move(camera)),
      identity_(Identify(*camera_)),
      path_(std::move(path)),
      listener_(std::move(listener)),
      wake_(std::make_shared<FileDescriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
  camera_->SetWake([wake = wake_] { (void)::eventfd_write(wake->Get(), 1); });
}

RedirCamera::~RedirCamera() {
  {
    const MutexLock lock(mutex_);
    quit_ = true;
  }
  Poke();
  if (thread_.joinable()) thread_.join();
  camera_->SetWake(nullptr);
  camera_->Disconnect();
  ::unlink(path_.c_str());
}

// From any thread --------------------------------------------------------------------------------------------

bool RedirCamera::Plugged() const {
  const MutexLock lock(mutex_);
  return plugged_;
}

template <typename Action>
void RedirCamera::WithConnection(Action&& action) {
  const MutexLock lock(mutex_);
  if (connection_ != nullptr) action(*connection_);
  Poke();
}

bool RedirCamera::Replug(std::string&) {
  const MutexLock lock(mutex_);
  plugged_ = true;
  if (connection_ != nullptr) {
    connection_->Unplug();
    connection_->Plug();
  }
  Poke();
  return true;
}

void RedirCamera::Unplug() {
  const MutexLock lock(mutex_);
  plugged_ = false;
  if (connection_ != nullptr) connection_->Unplug();
  Poke();
}

void RedirCamera::HaltFrames() {
  WithConnection([](RedirConnection& connection) { connection.HaltFrames(); });
}

void RedirCamera::FailNextTransfer(int error) {
  WithConnection([error](RedirConnection& connection) { connection.FailNextTransfer(error); });
}

void RedirCamera::Silence() {
  WithConnection([](RedirConnection& connection) { connection.Silence(); });
}

void RedirCamera::Poke() const {
  (void)::eventfd_write(wake_->Get(), 1);
}

// The camera's thread ----------------------------------------------------------------------------------------

void RedirCamera::Run() {
  Clock::time_point next = Clock::time_point::max();
  for (;;) {
    Wait(next);
    const MutexLock lock(mutex_);
    if (quit_) return;
    if (connection_ == nullptr) Accept();
    next = connection_ != nullptr ? connection_->Serve() : Clock::time_point::max();
    if (connection_ != nullptr && connection_->Vanished()) {
      plugged_ = false;
      connection_->Unplug();
      next = Clock::time_point::min();
    }
    if (connection_ != nullptr && connection_->Ended()) connection_.reset();
  }
}

void RedirCamera::Wait(Clock::time_point until) {
  pollfd polled[2] = {{wake_->Get(), POLLIN, 0}, {listener_.Get(), POLLIN, 0}};
  {
    const MutexLock lock(mutex_);
    if (connection_ != nullptr) {
      const int events = connection_->WantsToWrite() ? POLLIN | POLLOUT : POLLIN;
      polled[1] = {connection_->Socket(), static_cast<short>(events), 0};
    }
  }
  constexpr std::int64_t kSecond = 1'000'000'000;
  const auto now = Clock::now();
  const std::int64_t ns = until > now ? std::chrono::nanoseconds(until - now).count() : 0;
  const timespec timeout{ns / kSecond, ns % kSecond};
  (void)::ppoll(polled, std::size(polled), until == Clock::time_point::max() ? nullptr : &timeout, nullptr);
  if (polled[0].revents != 0) {
    eventfd_t count = 0;
    (void)::eventfd_read(wake_->Get(), &count);
  }
}

void RedirCamera::Accept() {
  FileDescriptor socket(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (socket.Open())
    connection_ = std::make_unique<RedirConnection>(std::move(socket), camera_, identity_, plugged_);
}

}  // namespace orq
