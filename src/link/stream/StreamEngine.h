// The streaming engine: keeps the frame endpoint read without a gap and feeds whole frames to the ring.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "link/stream/CirBuf.h"
#include "link/stream/StreamCounters.h"
#include "link/stream/StreamFormat.h"
#include "link/usb/BulkPipe.h"

namespace orq {

/// The engine's numbers, all in one place.
struct StreamTuning {
  int transfers = 8;        ///< bulk transfers in flight
  int fewestTransfers = 2;  ///< a stream starts with what the system grants, but not with fewer
  int blocksPerTransfer =
      10;                ///< of wire::kBlockBytes each; 8 x 10 is 3.9 MB: four cameras share usbfs's usual 16
  int maxResyncs = 8;    ///< restarts in a row without a good frame before the stream is given up
  int clearMs = 1000;    ///< patience with a clear that fails; a hub tells of an unplug within 0.3 s
  int drainMs = 5000;    ///< patience with transfers that were cancelled
  int retryMs = 10;      ///< pause before parked transfers or a failed clear are tried again
  int quietMs = 5;       ///< nothing for so long before the start: the pipe is empty; 0: it is not drained
  int emptyingMs = 500;  ///< patience with a camera that goes on sending though it was told to stop
  int maxStarvedRetries = 200;  ///< tries in a row with all transfers parked before the stream is given up
};

/// One stream from start to stop; made for each anew. The completion callback moves bytes, queues its transfer
/// again and returns; faults are mended on the engine's own thread: it stops the queueing, drains, clears the
/// halt and restarts at a frame's start. `Start` and `Stop` are caller-serialised, all else is any-thread.
class StreamEngine {
 public:
  /// How the camera is told to send and to stop sending frames.
  struct Output {
    std::function<bool()> start;
    std::function<void()> stop;
  };

  /// `pipe` and `ring` outlive the stream (until `Stop`). `format.PayloadBytes()` is at most `ring.FrameBytes()`.
  StreamEngine(BulkPipe& pipe, CirBuf& ring, const StreamFormat& format, Output output,
               const StreamTuning& tuning = {});
  /// Stops.
  ~StreamEngine();
  StreamEngine(const StreamEngine&) = delete;
  StreamEngine& operator=(const StreamEngine&) = delete;

  /// Tells the camera to stop, throws away what it and the host's controller still hold of an earlier stream,
  /// clears the endpoint, queues all transfers, then tells the camera to send. Transfers for which the system has
  /// no memory are given up: those that it has are the stream's until its end. False with `Error` set when it
  /// fails; nothing then runs.
  bool Start();
  /// Tells the camera to stop, ends all transfers, returns the frame in work as aborted and joins the engine's
  /// thread; also after an unplug. Nothing when it is not running. Not from the USB thread.
  void Stop();

  /// True while frames can still come.
  bool Alive() const;
  /// True after the device answered that it is gone.
  bool DeviceLost() const;
  StreamCounters Counters() const;
  /// Why the stream failed, as one line for a user; empty when it did not.
  std::string Error() const;

 private:
  void KeepStuckCore();

  class Core;
  // Shared, because transfers that never complete keep their core for ever.
  std::shared_ptr<Core> core_;
};

}  // namespace orq
