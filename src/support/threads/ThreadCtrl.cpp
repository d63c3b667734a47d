#include "support/threads/ThreadCtrl.h"

#include <atomic>
#include <thread>

#include "support/DbgPrint.h"
#include "support/threads/RecursiveMutex.h"

namespace {

// Ending takes a worker microseconds.
constexpr std::chrono::microseconds kEndNap{50};

// The flags are plain bytes, because workers get a plain pointer to one; all accesses go through these.
void SetFlag(bool& flag, bool value) {
  std::atomic_ref<bool>(flag).store(value, std::memory_order_release);
}

bool ReadFlag(const bool& flag) {
  // C++20 has no atomic view of a const object; a load does not change it.
  return std::atomic_ref<bool>(const_cast<bool&>(flag)).load(std::memory_order_acquire);  // NOLINT
}

class MutexLock {
 public:
  explicit MutexLock(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~MutexLock() { pthread_mutex_unlock(&mutex_); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  pthread_mutex_t& mutex_;
};

}  // namespace

ThreadCtrl::ThreadCtrl(Func worker) : func(worker) {
  orq::SetUpRecursiveMutex(mutex, mutexAttr);
}

ThreadCtrl::ThreadCtrl() : ThreadCtrl(nullptr) {}

ThreadCtrl::~ThreadCtrl() {
  // Also waits until a worker that has just ended by itself is out of the mutex.
  Stop();
  orq::DestroyRecursiveMutex(mutex, mutexAttr);
}

bool ThreadCtrl::InitFuncPt(Func worker) {
  const MutexLock lock(mutex);
  if (ReadFlag(running)) return false;
  func = worker;
  return true;
}

int ThreadCtrl::Start(void* workerParam) {
  const MutexLock lock(mutex);
  if (IsActive()) {
    DbgPrint(-1, "Start", "thread is already running\n");
    return 0;
  }
  if (func == nullptr) {
    DbgPrint(-1, "Start", "pointer is not assigned\n");
    return 0;
  }
  joinRequested = false;
  endAnnounced = false;
  param = workerParam;
  startedFunc = func;
  SetFlag(running, true);
  // Set here and not by the thread: a `Stop` before the thread's first instruction would leave both flags clear
  // while the thread still has to run, and a second `Start` could slip in.
  SetFlag(alive, true);
  if (pthread_create(&thread, nullptr, MyThr, this) != 0) {
    SetFlag(running, false);
    SetFlag(alive, false);
    return 0;
  }
  return 1;
}

void* ThreadCtrl::MyThr(void* self) {
  auto& control = *static_cast<ThreadCtrl*>(self);
  control.startedFunc(&control.running, control.param);

  const MutexLock lock(control.mutex);
  if (!control.joinRequested) pthread_detach(pthread_self());
  SetFlag(control.running, false);
  SetFlag(control.alive, false);
  return nullptr;
}

void ThreadCtrl::Stop() {
  const std::lock_guard onlyOneJoins(stopMutex);
  pthread_t ending{};
  {
    const MutexLock lock(mutex);
    if (!IsActive()) return;
    joinRequested = true;
    SetFlag(running, false);
    ending = thread;  // once the worker has ended, `Start` may put another one here
    DbgPrint(-1, "Stop", "WaitForSingleObject >\n");
  }
  pthread_join(ending, nullptr);
  DbgPrint(-1, "Stop", "WaitForSingleObject <\n");
}

bool ThreadCtrl::IsActive() const {
  return ReadFlag(running) || ReadFlag(alive);
}

// Under the mutex, and so is the question: who has seen anything that the worker stored after this sees this, too.
void ThreadCtrl::AnnounceEnd() {
  const MutexLock lock(mutex);
  endAnnounced = true;
}

void ThreadCtrl::AwaitEnd(std::chrono::milliseconds longest) {
  const auto giveUp = std::chrono::steady_clock::now() + longest;
  const auto ending = [this] {
    const MutexLock lock(mutex);
    return endAnnounced && IsActive();
  };
  while (ending() && std::chrono::steady_clock::now() < giveUp) std::this_thread::sleep_for(kEndNap);
}

bool ThreadCtrl::KeepRunning(bool* running) {
  return ReadFlag(*running);
}
