#include "api/Guard.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <exception>
#include <new>

#include "support/TextSink.h"

namespace orq::api {
namespace {

// Fixed room: keeping a failure must not fail, and threads may end in any order.
thread_local std::array<char, 1024> lastError{};

std::atomic<bool> forkedChild{false};

}  // namespace

bool IsForkedChild() {
  // What the library prints belongs to nobody until a program asks for it.
  static const bool registered = [] {
    SetTextSink(DropText);
    return pthread_atfork(nullptr, nullptr, [] { forkedChild = true; }) == 0;
  }();
  return registered && forkedChild;
}

orq_status Refuse(session::Status status, const char* text) {
  std::snprintf(lastError.data(), lastError.size(), "%s", text);
  return static_cast<orq_status>(status);
}

orq_status RefuseCaught() {
  try {
    throw;
  } catch (const session::Failure& failure) {
    return Refuse(failure.Code(), failure.what());
  } catch (const std::bad_alloc&) {
    return Refuse(session::Status::Memory, "not enough memory: close other programs, or release frames");
  } catch (const std::exception& error) {
    return Refuse(session::Status::Internal, error.what());
  } catch (...) {
    return Refuse(session::Status::Internal, "an unknown failure inside the library");
  }
}

}  // namespace orq::api

const char* orq_last_error(void) {
  return orq::api::lastError.data();
}
