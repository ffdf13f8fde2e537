#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <array>

#include <windows.h>

namespace vandrel::testing {

std::string system_message(std::uint32_t code) {
    std::array<char, 1024> buffer{};
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, code, 0, buffer.data(), buffer.size(), nullptr);
    const std::string text(buffer.data(), length);
    EXPECT_EQ(text.substr(text.size() < 2 ? 0 : text.size() - 2), "\r\n") << "of " << code;
    return text.substr(0, text.find_last_not_of(" \r\n") + 1);
}

} // namespace vandrel::testing
