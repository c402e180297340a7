// The host's script runtime error: a call from a script ends with this message, and the state
// is as it was before the call.
#pragma once

#include "host/Strings.h"

#include <exception>
#include <string>

class ScriptError : public std::exception {
public:
    explicit ScriptError(WStr message_)
        : message(std::move(message_)), utf8(message.ToCStr().str()) {}
    const WStr& text() const { return message; }
    const char* what() const noexcept override { return utf8.c_str(); }

private:
    WStr message;
    std::string utf8;
};
