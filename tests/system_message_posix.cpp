#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <map>

namespace vandrel::testing {

std::string system_message(std::uint32_t code) {
    static const std::map<std::uint32_t, std::string> messages = {
        {1, "Incorrect function."},
        {2, "The system cannot find the file specified."},
        {3, "The system cannot find the path specified."},
        {5, "Access is denied."},
        {80, "The file exists."},
        {317, "The system cannot find message text for message number 0x%1 in the message file "
              "for %2."},
    };
    const auto found = messages.find(code);
    EXPECT_NE(found, messages.end()) << "no message is kept for " << code;
    return found == messages.end() ? "" : found->second;
}

} // namespace vandrel::testing
