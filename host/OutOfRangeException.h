// The exception that the host's containers throw for an index outside their contents.
#pragma once

#include <stdexcept>
#include <string>

namespace MaxSDK::Util {

class OutOfRangeException : public std::out_of_range {
public:
    explicit OutOfRangeException(const std::string& message) : std::out_of_range(message) {}
    explicit OutOfRangeException(const char* message) : std::out_of_range(message) {}
};

} // namespace MaxSDK::Util
