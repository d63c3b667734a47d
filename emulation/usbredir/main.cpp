// orq-usbredir: serves virtual cameras to virtual machines.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "emulation/common/CameraWords.h"
#include "emulation/common/CommandLines.h"
#include "emulation/common/PlugCommands.h"
#include "emulation/usbredir/RedirCamera.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

constexpr const char* kHelp =
    R"(Serves virtual cameras to virtual machines by the usbredir protocol.

  orq-usbredir CAMERAS --socket PATH [--control PATH|-]

  orq-usbredir k1c --socket /tmp/cam &
  qemu-system-x86_64 ... -device qemu-xhci -chardev socket,id=cam,path=/tmp/cam -device usb-redir,chardev=cam

CAMERAS is a comma-separated list of models and options. A word that is the name of a model begins a camera; the
words after it are its options, as in virtual:MODEL,OPTION=VALUE,...
The first camera is at PATH, the others are at PATH.1, PATH.2, and so on. "ready" on standard output says that all
can be connected to. SIGTERM, SIGINT and SIGHUP end the program.

Commands, one a line, with a one-line answer to each, "ok" or "error: ...":
)";
constexpr const char* kQuitHelp = "\n  quit        ends this program";

using Cameras = std::vector<std::unique_ptr<orq::RedirCamera>>;

int Complain(int status, const std::string& what) {
  std::cerr << "orq-usbredir: " << what << "\n";
  return status;
}

orq::FileDescriptor CatchSignals() {
  sigset_t all;
  sigemptyset(&all);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&all, number);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
  return orq::FileDescriptor(::signalfd(-1, &all, SFD_CLOEXEC));
}

bool MakeCameras(const std::vector<orq::VirtualOptions>& all, const std::string& path, Cameras& cameras,
                 std::string& error) {
  for (const orq::VirtualOptions& options : all) {
    auto camera = orq::VirtualCamera::Make(options, error);
    const std::string place = cameras.empty() ? path : path + "." + std::to_string(cameras.size());
    auto served = camera != nullptr ? orq::RedirCamera::Make(std::move(camera), place, error) : nullptr;
    if (served == nullptr) return false;
    cameras.push_back(std::move(served));
  }
  return true;
}

/// Serves commands until one of them or a signal ends the program.
int ServeCommands(const Cameras& cameras, const std::string& control, int signals) {
  std::vector<orq::PlugPoint*> points;
  for (const auto& camera : cameras) points.push_back(camera.get());
  bool quit = false;
  orq::CommandLines commands([&](const std::string& line) {
    const orq::CommandAnswer answer = orq::ObeyCommand(points, line);
    quit = quit || answer.quit;
    return answer.text;
  });
  std::string error;
  if (control == "-")
    commands.UseStandardInput();
  else if (!control.empty() && !commands.UseSocket(control, error))
    return Complain(kFailed, error);
  std::cout << "ready" << std::endl;
  std::vector<pollfd> polls;
  while (!quit) {
    polls.assign(1, {signals, POLLIN, 0});
    commands.AddPolls(polls);
    if (::poll(polls.data(), polls.size(), -1) < 0 && errno != EINTR)
      return Complain(kFailed, std::strerror(errno));
    quit = polls.front().revents != 0;
    commands.Serve(polls);
  }
  return 0;
}

int Start(int argc, char** argv) {
  CLI::App app(kHelp + std::string(orq::kCommandHelp) + kQuitHelp, "orq-usbredir");
  std::string words;
  std::string path;
  std::string control;
  app.add_option("cameras", words, "Models and their options")->required()->option_text("CAMERAS");
  app.add_option("--socket", path, "Where virtual machines connect to")->required()->option_text("PATH");
  app.add_option("--control", control,
                 "Takes commands over connections to a socket at PATH, or with - on standard input (answers on "
                 "standard error)")
      ->option_text("PATH");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& wrong) {
    const int status = app.exit(wrong);
    return status == 0 ? 0 : kUsage;
  }
  std::string error;
  const auto options = orq::ParseCameras(words, error);
  if (!options) return Complain(kUsage, error);
  const orq::FileDescriptor signals = CatchSignals();
  Cameras cameras;
  if (!MakeCameras(*options, path, cameras, error)) return Complain(kFailed, error);
  return ServeCommands(cameras, control, signals.Get());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Start(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "orq-usbredir: %s\n", failure.what());
    return kFailed;
  }
}
