// orq-emulate: runs a program unchanged beside virtual cameras on an emulated USB bus.
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

#include "emulation/bus/EmulatedBus.h"
#include "emulation/common/CameraWords.h"
#include "emulation/common/CommandLines.h"
#include "emulation/common/PlugCommands.h"
#include "emulation/launcher/Program.h"

namespace {

constexpr int kUsage = 2;
constexpr int kCannotEmulate = 125;
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

constexpr const char* kHelp =
    R"(Attaches virtual cameras to an emulated USB bus and runs a program that sees them, unchanged.

  orq-emulate CAMERAS [OPTIONS] -- PROGRAM [ARGUMENT...]

  orq-emulate k1c -- lsusb -v
  orq-emulate k1c,k1c,seed=2 -- orqcam list

CAMERAS is a comma-separated list of models and options. A word that is the name of a model begins a camera; the
words after it are its options, as in virtual:MODEL,OPTION=VALUE,...

The program's exit status is handed on (128 + N when signal N ended it); 125: the bus could not be made, 126: the
program could not be run, 127: it was not found. Signals are passed on to the program.

Commands, one a line, with a one-line answer to each, "ok" or "error: ...":
)";
constexpr const char* kQuitHelp = "\n  quit        asks the program to end (SIGTERM)";

/// Signals that end or notify programs; those that a terminal sends reach the program without help.
constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2};

int Complain(int status, const std::string& what) {
  std::cerr << "orq-emulate: " << what << "\n";
  return status;
}

/// The signals that this program handles instead of suffering them.
sigset_t HandledSignals() {
  sigset_t all;
  sigemptyset(&all);
  sigaddset(&all, SIGCHLD);
  for (const int number : kPassedOn) sigaddset(&all, number);
  return all;
}

std::unique_ptr<orq::EmulatedBus> MakeBus(const std::vector<orq::VirtualOptions>& cameras, int memoryMb,
                                          std::string& error) {
  auto bus = orq::EmulatedBus::Make(error);
  if (bus == nullptr) return nullptr;
  bus->Memory().limit = static_cast<std::size_t>(memoryMb) << 20U;
  for (const orq::VirtualOptions& options : cameras) {
    auto camera = orq::VirtualCamera::Make(options, error);
    if (camera == nullptr || bus->Attach(std::move(camera), error) == nullptr) return nullptr;
  }
  return bus;
}

/// Passes a signal on unless the terminal has sent it to the program as well.
void PassOn(const signalfd_siginfo& signal, const orq::Program& program) {
  if (signal.ssi_code != SI_KERNEL) program.Signal(static_cast<int>(signal.ssi_signo));
}

/// Serves commands and signals until the program ends; its exit status.
int Accompany(const orq::Program& program, orq::CommandLines& commands, int signals) {
  std::vector<pollfd> polls;
  for (;;) {
    polls.assign(1, {signals, POLLIN, 0});
    commands.AddPolls(polls);
    if (::poll(polls.data(), polls.size(), -1) < 0 && errno != EINTR)
      return Complain(kCannotEmulate, std::strerror(errno));
    if (polls.front().revents != 0) {
      signalfd_siginfo signal{};
      if (::read(signals, &signal, sizeof signal) != sizeof signal) continue;
      if (signal.ssi_signo != SIGCHLD)
        PassOn(signal, program);
      else if (const auto status = program.Ended())
        return *status;
    }
    commands.Serve(polls);
  }
}

int Run(const std::vector<orq::VirtualOptions>& cameras, int memoryMb, const std::string& control,
        orq::Program::Settings settings) {
  const sigset_t handled = HandledSignals();
  ::pthread_sigmask(SIG_BLOCK, &handled, &settings.signals);
  const orq::FileDescriptor signals(::signalfd(-1, &handled, SFD_CLOEXEC));
  std::string error;
  const auto bus = MakeBus(cameras, memoryMb, error);
  if (bus == nullptr) return Complain(kCannotEmulate, error);
  const std::vector<orq::PlugPoint*> cameraPoints = bus->PlugPoints();
  orq::Program program;
  orq::CommandLines commands([&](const std::string& line) {
    const orq::CommandAnswer answer = orq::ObeyCommand(cameraPoints, line);
    if (answer.quit) program.Signal(SIGTERM);
    return answer.text;
  });
  settings.ownInput = control != "-";
  if (!settings.ownInput)
    commands.UseStandardInput();
  else if (!control.empty() && !commands.UseSocket(control, error))
    return Complain(kCannotEmulate, error);
  if (const int failure = program.Start(settings)) {
    return Complain(failure == ENOENT ? kNotFound : kCannotRun,
                    "cannot run " + settings.words.front() + ": " + std::strerror(failure));
  }
  return Accompany(program, commands, signals.Get());
}

int Start(int argc, char** argv) {
  CLI::App app(kHelp + std::string(orq::kCommandHelp) + kQuitHelp, "orq-emulate");
  std::string cameraWords;
  std::string control;
  int memoryMb = 16;
  app.add_option("cameras", cameraWords, "Models and their options")->required()->option_text("CAMERAS");
  app.add_option("--control", control,
                 "Takes commands over connections to a socket at PATH, or with - on standard "
                 "input (answers on standard error; the program's input is empty)")
      ->option_text("PATH");
  app.add_option("--memory-mb", memoryMb, "Memory for USB transfers, as usbcore.usbfs_memory_mb; 0: no limit")
      ->check(CLI::Range(0, 4096))
      ->capture_default_str()
      ->option_text("N");

  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto separator = std::find(words.begin(), words.end(), "--");
  std::vector<std::string> own(words.begin(), separator);
  std::reverse(own.begin(), own.end());  // the parser takes them from the back
  try {
    app.parse(own);
  } catch (const CLI::ParseError& wrong) {
    const int status = app.exit(wrong);
    return status == 0 ? 0 : kUsage;
  }
  orq::Program::Settings settings;
  if (separator != words.end()) settings.words.assign(separator + 1, words.end());
  if (settings.words.empty())
    return Complain(kUsage, "which program? Say it after --, as in: orq-emulate k1c -- lsusb");
  std::string error;
  const auto cameras = orq::ParseCameras(cameraWords, error);
  if (!cameras) return Complain(kUsage, error);
  return Run(*cameras, memoryMb, control, std::move(settings));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Start(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "orq-emulate: %s\n", failure.what());
    return kCannotEmulate;
  }
}
