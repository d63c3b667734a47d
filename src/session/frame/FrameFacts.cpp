#include "session/frame/FrameFacts.h"

namespace orq::session {

const FileContext& ContextOf(const FrameFacts& frame) {
  static const FileContext none;
  return frame.context ? *frame.context : none;
}

}  // namespace orq::session
