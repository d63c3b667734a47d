#include "OtherProcess.h"

#include <grp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "link/ProductIds.h"
#include "link/WireProtocol.h"
#include "link/usb/LibusbPort.h"

namespace orq::test {
namespace {

constexpr int kBadTask = 200;
constexpr uid_t kNobody = 65534;

bool DropPrivileges() {
  return ::getuid() != 0 || (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
}

/// Starts the frame output, reads the beginning of a frame and is gone without a word.
[[noreturn]] void Abandon(UsbPort& port) {
  constexpr unsigned kPatienceMs = 1000;
  const int told = port.ControlTransfer({kVendorOut, wire::kReqWriteFpga, wire::kFpgaRun, 1, 0}, {}, kPatienceMs);
  std::atomic<bool> came{false};
  const auto transfer = port.Pipe().MakeTransfer(16384);
  transfer->owner = &came;
  transfer->onComplete = [](BulkTransfer& done) { *static_cast<std::atomic<bool>*>(done.owner) = true; };
  const UsbError queued = port.Pipe().Submit(*transfer);
  while (queued == kUsbOk && !came) ::usleep(1000);
  ::_exit(told == 0 && queued == kUsbOk ? 0 : kBadTask);
}

}  // namespace

int ActAsOtherProcess(const std::string& task) {
  const bool unprivileged = task == "unprivileged";
  const bool abandon = task == "abandon";
  if ((!unprivileged && !abandon && task != "claim") || (unprivileged && !DropPrivileges())) return kBadTask;
  const auto port = MakeLibusbPort();
  auto* const handle = port->libusb_open_device_with_vid_pid_index(port->Context(), wire::kVendorId, pid::kK1C, 0);
  int error = port->LastErrorCode();
  if (handle != nullptr) {
    error = port->libusb_claim_interface(handle, wire::kInterface);
    if (abandon) Abandon(*port);
    port->ReleaseInterface(wire::kInterface);
    port->CloseDevice();
  }
  // Whoever is refused has to be told what to do.
  if (error == kUsbAccess && port->LastError().find("70-orqcam.rules") == std::string::npos) return kBadTask;
  return -error;
}

int AskOtherProcess(const std::string& task) {
  char program[] = "/proc/self/exe";
  std::string option = kOtherProcess;
  std::string word = task;
  char* words[] = {program, option.data(), word.data(), nullptr};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  pid_t pid = 0;
  const int failure = ::posix_spawn(&pid, program, &actions, nullptr, words, environ);
  ::posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (failure != 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return kBadTask;
  return -WEXITSTATUS(status);
}

}  // namespace orq::test
