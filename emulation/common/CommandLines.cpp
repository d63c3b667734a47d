#include "emulation/common/CommandLines.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "emulation/common/ListeningSocket.h"

namespace orq {
namespace {

/// Whether `polls` says that there is something on this descriptor.
bool Ready(const std::vector<pollfd>& polls, int fd) {
  return std::ranges::any_of(
      polls, [=](const pollfd& poll) { return poll.fd == fd && poll.revents != 0; });
}

}  // namespace

CommandLines::~CommandLines() {
  if (listener_.Open()) ::unlink(path_.c_str());
}

void CommandLines::UseStandardInput() {
  Source& source = sources_.emplace_back();
  source.input = FileDescriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  source.answers = STDERR_FILENO;
}

bool CommandLines::UseSocket(const std::string& path, std::string& error) {
  listener_ = ListenAt(path, error);
  path_ = path;
  return listener_.Open();
}

void CommandLines::AddPolls(std::vector<pollfd>& polls) const {
  if (listener_.Open()) polls.push_back({listener_.Get(), POLLIN, 0});
  for (const Source& source : sources_) polls.push_back({source.input.Get(), POLLIN, 0});
}

void CommandLines::Serve(const std::vector<pollfd>& polls) {
  for (Source& source : sources_)
    if (Ready(polls, source.input.Get())) Read(source);
  std::erase_if(sources_, [](const Source& source) { return source.ended; });
  if (listener_.Open() && Ready(polls, listener_.Get())) {
    FileDescriptor connection(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.Open()) {
      Source& source = sources_.emplace_back();
      source.answers = connection.Get();
      source.input = std::move(connection);
    }
  }
}

void CommandLines::Read(Source& source) {
  constexpr std::size_t kLongestLine = 4096;
  char bytes[512];
  const ssize_t came = ::read(source.input.Get(), bytes, sizeof bytes);
  source.ended = came <= 0 || source.pending.size() > kLongestLine;
  source.pending.append(bytes, came > 0 ? static_cast<std::size_t>(came) : 0);
  for (std::size_t end = 0; (end = source.pending.find('\n')) != std::string::npos;) {
    const std::string answer = obey_(source.pending.substr(0, end)) + "\n";
    source.pending.erase(0, end + 1);
    if (::write(source.answers, answer.data(), answer.size()) < 0) {
      source.ended = true;
      return;
    }
  }
}

}  // namespace orq
