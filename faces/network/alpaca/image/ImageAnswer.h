// Pictures on their way to Alpaca clients, as text or as bytes. Both are made while they are sent.
#pragma once

#include <memory>

#include "alpaca/image/Image.h"
#include "alpaca/protocol/Answer.h"
#include "alpaca/protocol/Call.h"
#include "http/Message.h"

namespace orq::network::alpaca {

/// Whether the client takes application/imagebytes, as its Accept header says.
bool takesBytes(const Request& request);

/// application/imagebytes: a header of 44 bytes, then the samples, as wide as the frame has them.
Response bytesAnswer(const Call& call, const std::shared_ptr<const Image>& image);
/// The same kind of answer with the text of an error instead.
Response bytesFailure(const Call& call, const CallFailure& failure);
/// JSON: an array of columns.
Response textAnswer(const Call& call, const std::shared_ptr<const Image>& image);

}  // namespace orq::network::alpaca
