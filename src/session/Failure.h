// How a service says that it could not do what it was asked for.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orq::session {

/// What a program can do about a failure; the numbers are those of the C interface.
enum class Status : std::int32_t {
  Ok = 0,
  Invalid = -1,      ///< an argument is wrong: mend the call
  NotFound = -2,     ///< no such camera, control, file
  Permission = -3,   ///< the user may not use the device
  Busy = -4,         ///< another program has it, or other work is under way: try again later
  Lost = -5,         ///< the camera is gone: plug it in and reopen
  Timeout = -6,      ///< not in time: wait again
  Cancelled = -7,    ///< somebody stopped it
  Unsupported = -8,  ///< this camera cannot do that
  Refused = -9,      ///< the camera did not do what it was told, or what it sent was no good
  State = -10,       ///< not as things are now
  Range = -11,       ///< a value that this camera does not offer
  File = -12,        ///< a file cannot be read or written
  Memory = -13,      ///< no memory, or no frame buffer is free
  Internal = -14,    ///< a fault of the library
};

/// Thrown by services: what a program can do about it, and one line for a user that says what is wrong and what to
/// do. The C interface makes a status of it, the command line an exit code.
class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& reason) : std::runtime_error(reason), status_(status) {}
  Status Code() const { return status_; }

 private:
  Status status_;
};

}  // namespace orq::session
