// Whether an answer is one its request allows: the status, and what the kit
// relies on in the body (the product id, the item a file was paired with,
// the shape of an error).
#pragma once

#include "HttpAnswerParser.h"
#include "SoakRequest.h"

namespace soak {

class AnswerCheck
{
public:
    /// Empty when the answer is fine, else what is wrong with it.
    static QString problem(const SoakRequest &request, const HttpAnswer &answer);
};

} // namespace soak
