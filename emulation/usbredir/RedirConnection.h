// A virtual camera in conversation with one virtual machine.
#pragma once

#include <memory>
#include <set>
#include <vector>

#include "emulation/common/ControlEndpoint.h"
#include "emulation/common/FileDescriptor.h"
#include "emulation/common/FrameEndpoint.h"
#include "emulation/usbredir/RedirParser.h"
#include "emulation/usbredir/RedirRequests.h"

namespace orq {

/// Lives from the moment the virtual machine connects until it hangs up. Caller-serialised.
class RedirConnection : private RedirEvents {
 public:
  RedirConnection(FileDescriptor socket, std::shared_ptr<VirtualCamera> camera, UsbIdentity identity,
                  bool plugged);

  int Socket() const { return socket_.Get(); }
  bool WantsToWrite() const { return parser_.WantsToWrite(); }
  /// Takes in what came, moves frames, sends what there is to send. Returns when to come back, as
  /// `FrameEndpoint::Serve`.
  FrameEndpoint::Clock::time_point Serve();
  /// The virtual machine has hung up.
  bool Ended() const { return ended_; }
  /// The camera left the bus by itself.
  bool Vanished() const { return function_ != nullptr && function_->frames.Gone(); }

  /// Both at once when the virtual machine allows it, else as soon as it does.
  void Plug();
  void Unplug();
  void HaltFrames();
  void FailNextTransfer(int error);
  void Silence();

 private:
  /// The camera while it is plugged in.
  struct Function {
    Function(std::shared_ptr<VirtualCamera> camera, const UsbIdentity& identity)
        : frames(camera, requests, PacketBytes(identity)), control(camera, identity, frames) {}
    RedirRequests requests;
    FrameEndpoint frames;
    ControlEndpoint control;
    std::set<std::uint64_t> unanswered;  ///< control requests that get no answer unless they are cancelled
  };

  void OnHello() override;
  void OnReset() override;
  void OnDisconnectAck() override;
  void OnRefused() override;
  void OnSetConfiguration(std::uint64_t id, int configuration) override;
  void OnGetConfiguration(std::uint64_t id) override;
  void OnSetAltSetting(std::uint64_t id, int interfaceNumber, int alternate) override;
  void OnGetAltSetting(std::uint64_t id, int interfaceNumber) override;
  void OnControl(std::uint64_t id, const usb_redir_control_packet_header& header,
                 std::span<const std::uint8_t> data) override;
  void OnBulk(std::uint64_t id, const usb_redir_bulk_packet_header& header) override;
  void OnCancel(std::uint64_t id) override;

  void Announce();
  void DescribeFunction();
  /// A standard request without data out; the result as `ControlEndpoint::Execute` gives it.
  int Standard(int type, int request, int value, int index, std::span<std::uint8_t> answer = {});
  void AnswerBulk(const RedirRequest& request);

  FileDescriptor socket_;
  const std::shared_ptr<VirtualCamera> camera_;
  const UsbIdentity identity_;
  RedirParser parser_;
  std::unique_ptr<Function> function_;  ///< null while it is pulled out
  bool greeted_ = false;
  bool plugged_;            ///< what the user wants
  bool awaitsAck_ = false;  ///< the virtual machine has not yet taken note of an unplug
  bool ended_ = false;
};

}  // namespace orq
