// How many frames INDI's stream manager still holds.
#pragma once

#include <cstddef>

namespace orq::indi {

/// The manager copies every frame into a vector, queues that for its own thread and tells nobody when it is done
/// with it; when its queue outgrows a limit it complains and drops. Its vectors come from the C++ heap of this
/// program, whose operators new and delete are replaced to count them: exact, whatever the manager does with a
/// frame. Nothing else tells: its queue and its thread are private, and what it sends is only some of the frames
/// of a live view and none of a recording.
class HeldBuffers {
 public:
  HeldBuffers() = default;
  ~HeldBuffers();
  HeldBuffers(const HeldBuffers&) = delete;
  HeldBuffers& operator=(const HeldBuffers&) = delete;

  /// While it lives, blocks of `bytes` that this thread allocates are counted for `buffers`.
  class Counting {
   public:
    Counting(HeldBuffers& buffers, std::size_t bytes);
    ~Counting();
    Counting(const Counting&) = delete;
    Counting& operator=(const Counting&) = delete;
  };
  /// Of those, how many have not been freed.
  int count() const;
};

}  // namespace orq::indi
