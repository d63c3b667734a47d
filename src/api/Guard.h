// The border between the C interface and the library: failures become a status and a text.
#pragma once

#include <string>
#include <utility>

#include "orqcam/orqcam.h"
#include "session/Failure.h"

namespace orq::api {

/// Whether this process is a child of one that has used the library: threads and devices are the parent's. The
/// first call in a process takes the library into use.
bool IsForkedChild();
/// Keeps `text` for orq_last_error on this thread; returns `status`.
orq_status Refuse(session::Status status, const char* text);
/// The exception that is being handled as a status, its text kept for orq_last_error.
orq_status RefuseCaught();

/// Runs a call of the C interface. Nothing is thrown through.
template <class Call>
orq_status Guarded(Call&& call) noexcept {
  try {
    if (IsForkedChild()) {
      return Refuse(session::Status::State,
                    "this process was forked from one that uses the library: use it in the parent only, "
                    "or start a program of its own");
    }
    std::forward<Call>(call)();
    return ORQ_OK;
  } catch (...) {
    return RefuseCaught();
  }
}

/// Throws Failure (Invalid) for null.
template <class Result>
Result& DemandResult(Result* result, const char* name) {
  if (result == nullptr) throw session::Failure(session::Status::Invalid, std::string(name) + " is null");
  return *result;
}

/// The same for a text.
inline const char* DemandText(const char* text, const char* name) {
  if (text == nullptr) throw session::Failure(session::Status::Invalid, std::string(name) + " is null");
  return text;
}

}  // namespace orq::api
