#include "alpaca/protocol/Answer.h"

#include <atomic>
#include <nlohmann/json.hpp>
#include <orqcam/orqcam.hpp>
#include <utility>

namespace orq::network::alpaca {
namespace {

ErrorNumber numberOf(orq_status status) {
  switch (status) {
    case ORQ_ERROR_INVALID:
    case ORQ_ERROR_RANGE:
      return kInvalidValue;
    case ORQ_ERROR_UNSUPPORTED:
      return kNotImplemented;
    case ORQ_ERROR_LOST:
    case ORQ_ERROR_NOT_FOUND:
      return kNotConnected;
    case ORQ_ERROR_STATE:
    case ORQ_ERROR_BUSY:
      return kInvalidOperation;
    case ORQ_ERROR_CANCELLED:
      return kOperationCancelled;
    default:
      return static_cast<ErrorNumber>(kDriverError - status);  // 0x501 and on: what the library calls it
  }
}

nlohmann::json envelope(const Call& call, const CallFailure& failure) {
  return {{"ClientTransactionID", call.transaction()},
          {"ServerTransactionID", nextTransaction()},
          {"ErrorNumber", failure.number},
          {"ErrorMessage", failure.text}};
}

}  // namespace

std::uint32_t nextTransaction() {
  static std::atomic<std::uint32_t> last{0};
  for (;;)
    if (const std::uint32_t next = ++last; next != 0) return next;
}

CallFailure failureOf(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(std::move(thrown));
  } catch (const CallError& error) {
    return {error.number(), error.what()};
  } catch (const Error& error) {
    return {numberOf(error.status()), error.what()};
  }
}

Response valueAnswer(const Call& call, const std::optional<nlohmann::json>& value) {
  nlohmann::json answer = envelope(call, {});
  if (value) answer["Value"] = *value;
  return Response::json(answer);
}

Response errorAnswer(const Call& call, const CallFailure& failure) {
  return Response::json(envelope(call, failure));
}

Response badCallAnswer(const std::string& text) {
  return Response::text(400, "text/plain; charset=utf-8", text + "\n");
}

}  // namespace orq::network::alpaca
