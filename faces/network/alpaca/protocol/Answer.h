// Answers as the protocol has them.
#pragma once

#include <cstdint>
#include <exception>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "alpaca/protocol/Call.h"
#include "http/Message.h"

namespace orq::network::alpaca {

/// The number of an answer: from 1, never 0, each of them once in four thousand million. Any thread.
std::uint32_t nextTransaction();

/// How a call ended, when it did not do what was asked.
struct CallFailure {
  std::int32_t number = 0;
  std::string text;
};
/// What an exception means to a client; rethrows BadCall, and what is none of a camera's failures.
CallFailure failureOf(std::exception_ptr thrown);

/// An answer with a value, or without one, as of a method.
Response valueAnswer(const Call& call, const std::optional<nlohmann::json>& value);
Response errorAnswer(const Call& call, const CallFailure& failure);
/// 400: the text says why the call cannot be understood.
Response badCallAnswer(const std::string& text);

}  // namespace orq::network::alpaca
