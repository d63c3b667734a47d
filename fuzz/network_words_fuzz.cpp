// What clients of the server write: parameters, bodies, addresses, hosts, discovery. Whatever comes, what is
// understood means the same when it is written again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <string_view>

#include "alpaca/discovery/Discovery.h"
#include "alpaca/protocol/Call.h"
#include "http/Address.h"
#include "http/Message.h"
#include "http/Parameters.h"
#include "live/routes/Body.h"

namespace {

using namespace orq::network;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string escaped(const std::string& text) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string made;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    made += '%';
    made += kDigits[byte >> 4];
    made += kDigits[byte & 15];
  }
  return made;
}

void checkParameters(std::string_view text) {
  const std::optional<Parameters> read = Parameters::parse(text);
  if (!read) return;
  std::string again;
  for (const auto& [name, value] : read->all()) {
    require(name.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
    require(read->find(name, Case::ignored).has_value());
    again += escaped(name) + "=" + escaped(value) + "&";
  }
  const std::optional<Parameters> second = Parameters::parse(again);
  require(second && second->all() == read->all());
}

void checkCall(std::string_view text) {
  Request request;
  request.method = "PUT";
  request.body = text;
  try {
    const alpaca::Call call(request);
    for (const char* const name : {"Duration", "Connected", "ClientID"}) {
      try {
        call.text(name);
        const double number = call.number(name);
        require(number - number == 0);  // finite
        call.integer(name);
      } catch (const alpaca::BadCall&) {
        // It is none, or is not there.
      }
    }
  } catch (const alpaca::BadCall&) {
    require(!Parameters::parse(text));
  }
}

void checkBody(std::string_view text) {
  Request request;
  request.body = text;
  try {
    const Body body(request, {"width", "on", "name"});
    const auto refused = [](auto&& read) {
      try {
        read();
        return false;
      } catch (const orq::InvalidError&) {
        return true;
      }
    };
    for (const char* const name : {"width", "on", "name"}) {
      const bool noNumber =
          refused([&] { require(body.number(name).value_or(0) - body.number(name).value_or(0) == 0); });
      require(!noNumber || refused([&] { body.whole(name); }));
      // What is there is of one kind only.
      const int kinds = (noNumber ? 0 : 1) + (refused([&] { body.truth(name); }) ? 0 : 1) +
                        (refused([&] { body.text(name); }) ? 0 : 1);
      require(kinds == 0 || kinds == 1 || kinds == 3);  // a list; a value; nothing
    }
  } catch (const orq::InvalidError&) {
    require(!text.empty());
  }
}

void checkAddresses(std::string_view text) {
  if (const std::optional<Address> address = Address::parse(text)) {
    require(Address::parse(address->text()) == address);
    require(AddressBlock::parse(text)->holds(*address));
  }
  if (const std::optional<AddressBlock> block = AddressBlock::parse(text))
    require(block->holds(*Address::parse(text.substr(0, text.find('/')))));
  if (const std::optional<std::string> host = hostOf(text)) {
    require(!host->empty() && host->find_first_of("/@ \t\r\n[]") == std::string::npos);
    require(hostOf(host->find(':') == std::string::npos ? *host : "[" + *host + "]") == host);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkParameters(text);
  checkCall(text);
  checkBody(text);
  checkAddresses(text);
  require(alpaca::asksForServers(text) == (text.substr(0, 16) == "alpacadiscovery1"));
  return 0;
}
