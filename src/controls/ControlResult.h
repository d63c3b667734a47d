// What an operation that succeeds or fails answers as the result of a control.
#pragma once

#include "controls/ControlTypes.h"

namespace orq {

constexpr int SetResult(bool done) {
  return done ? CTRL_OK : CTRL_SET_FAILED;
}

}  // namespace orq
