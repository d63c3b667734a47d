// A worker thread with a cooperative stop.
#pragma once

#include <pthread.h>

#include <chrono>
#include <mutex>

/// Runs one worker function on a thread of its own. The worker gets a pointer to a keep-running flag (poll it
/// with `ThreadCtrl::KeepRunning`) and returns when the flag drops. Thread rule: any-thread, but `Stop` and the
/// destructor never from the worker itself.
class ThreadCtrl {
 public:
  using Func = void (*)(bool* running, void* param);

  explicit ThreadCtrl(Func func);
  ThreadCtrl();
  /// Stops a worker that still runs, then destroys the mutex.
  ~ThreadCtrl();
  ThreadCtrl(const ThreadCtrl&) = delete;
  ThreadCtrl& operator=(const ThreadCtrl&) = delete;

  /// Sets the worker of the next `Start`; refused (false) while the running flag is set.
  bool InitFuncPt(Func func);
  /// Starts the worker with `param`: 1, or 0 when one runs already, none is set, or no thread could be made.
  int Start(void* param);
  /// Asks the worker to end and waits for it; returns at once when none runs. Of two calls at once the second
  /// waits for the first.
  void Stop();

  /// True while the worker's running or alive flag is set. Any-thread.
  bool IsActive() const;
  /// Says that nothing but returning is left to do. For workers, before they let anybody see that they have done
  /// their work: who has seen it and waits with `AwaitEnd` can start the next one.
  void AnnounceEnd();
  /// Waits up to `longest` for a worker that has announced its end; returns at once when there is none.
  /// Any-thread.
  void AwaitEnd(std::chrono::milliseconds longest);
  /// Reads a keep-running flag without a data race. For workers.
  static bool KeepRunning(bool* running);

 private:
  static void* MyThr(void* self);

  pthread_t thread{};
  Func func = nullptr;
  pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;  // guards the flags' changes and `thread`
  pthread_mutexattr_t mutexAttr{};
  bool joinRequested = false;  // set by `Stop`: the ending thread is joined and must not detach itself
  bool running = false;        // the worker's keep-running flag
  bool alive = false;          // a thread exists that has not yet ended
  void* param = nullptr;
  bool endAnnounced = false;   // by the worker that exists; guarded by `mutex`
  Func startedFunc = nullptr;  // what the existing thread runs; `func` may already be the next one
  std::mutex stopMutex;        // held by a `Stop` for its whole duration; taken before `mutex`
};
