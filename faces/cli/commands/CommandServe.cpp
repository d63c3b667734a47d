// orqcam serve: cameras on the network. A program of its own does it, so that this one needs no HTTP library.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/Commands.h"

namespace orq::cli {

namespace {

constexpr const char* kProgram = "orqcam-serve";

struct ServeOptions {
  std::vector<std::string> cameras, listen, hosts, alpacaAllow;
  std::optional<std::string> port, token, tokenFile, folder, clientSeconds;
  bool noToken = false;
  bool noDiscovery = false;
};

// Beside this program, as where it was built, or where packages put programs that users do not run themselves.
// Where /proc is missing, only the place that it was built for is known.
std::string FindProgram() {
  std::vector<std::filesystem::path> candidates;
  std::error_code unknown;
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
  if (!unknown) candidates = {own / kProgram, own.parent_path() / "libexec" / kProgram};
  candidates.push_back(std::filesystem::path(ORQCAM_LIBEXECDIR) / kProgram);
  for (const std::filesystem::path& candidate : candidates)
    if (access(candidate.c_str(), X_OK) == 0) return candidate.string();
  throw CliError(kExitFailed, std::string("the server, ") + kProgram +
                                  ", is not installed: install the package orqcam-server (or build with "
                                  "libmicrohttpd-dev)");
}

void Add(std::vector<std::string>& words, const char* option, const std::vector<std::string>& values) {
  for (const std::string& value : values) words.insert(words.end(), {option, value});
}

void Add(std::vector<std::string>& words, const char* option, const std::optional<std::string>& value) {
  if (value) words.insert(words.end(), {option, *value});
}

std::vector<std::string> WordsOf(const Context& context, const ServeOptions& options) {
  std::vector<std::string> words = {kProgram};
  Add(words, "--camera", context.camera);
  Add(words, "--camera", options.cameras);
  Add(words, "--listen", options.listen);
  Add(words, "--port", options.port);
  Add(words, "--token", options.token);
  Add(words, "--token-file", options.tokenFile);
  Add(words, "--host", options.hosts);
  Add(words, "--alpaca-allow", options.alpacaAllow);
  Add(words, "--folder", options.folder);
  Add(words, "--client-seconds", options.clientSeconds);
  if (options.noToken) words.emplace_back("--no-token");
  if (options.noDiscovery) words.emplace_back("--no-discovery");
  if (context.json) words.emplace_back("--json");
  if (context.debug) words.emplace_back("--debug");
  return words;
}

// Becomes that program, which handles its signals itself.
ExitCode RunServe(const Context& context, const ServeOptions& options) {
  const std::string program = FindProgram();
  std::vector<std::string> words = WordsOf(context, options);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  context.out.HandOver();
  execv(program.c_str(), arguments.data());
  throw CliError(kExitFailed, program + " cannot be run: " + std::strerror(errno));
}

}  // namespace

CommandRun AddServeCommand(const Command& app) {
  const Command command = app.AddCommand("serve", "Offer cameras on the network: live view in a browser, Alpaca");
  auto options = std::make_shared<ServeOptions>();
  command.AddOption("-c,--camera", options->cameras, "A camera to serve; may be given several times")
      .OneValueEach()
      .Default("all that are plugged in, now or later");
  command
      .AddOption("--listen", options->listen, "Address of this computer to listen at; may be given several times")
      .OneValueEach()
      .Default("127.0.0.1: this computer only");
  command.AddOption("--port", options->port, "Port; 0: any free one").Default("11111");
  const Option token = command.AddOption(
      "--token", options->token, "What page and own interface ask for; others on this computer can see it");
  const Option file = command.AddOption("--token-file", options->tokenFile, "A file whose first line is the token")
                          .Excludes(token);
  command.AddFlag("--no-token", options->noToken, "Whoever reaches the address may use page and own interface")
      .Excludes(token)
      .Excludes(file);
  command.AddOption("--host", options->hosts, "A name by which clients call this computer; several times")
      .OneValueEach();
  command
      .AddOption("--alpaca-allow", options->alpacaAllow,
                 "Addresses whose Alpaca clients may use the cameras, 192.168.1.0/24; several times")
      .OneValueEach()
      .Default("this computer only");
  command.AddOption("--folder", options->folder, "Where recordings and saved frames go")
      .Default("orqcam in your home folder");
  command.AddFlag("--no-discovery", options->noDiscovery, "Do not answer Alpaca clients that search for servers");
  command.AddOption("--client-seconds", options->clientSeconds, "Time that a client may take to send a request")
      .Default("20");
  return [options](const Context& context) { return RunServe(context, *options); };
}

}  // namespace orq::cli
