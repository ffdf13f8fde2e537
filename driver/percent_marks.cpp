#include "driver/percent_marks.h"

#include <boost/algorithm/string/replace.hpp>

namespace vandrel {

namespace {

constexpr auto percent = "%";
constexpr auto marked_percent = "%\x01";

} // namespace

std::string with_marks(std::string text) {
    boost::replace_all(text, percent, marked_percent);
    return text;
}

std::string without_marks(std::string text) {
    boost::replace_all(text, marked_percent, percent);
    return text;
}

} // namespace vandrel
