#include "driver/command_line_log.h"

#include "foundation/file.h"

#include <exception>

namespace vandrel {

void log_command_line(const std::string& path, int argument_count,
                      const char* const* arguments) noexcept {
    if (argument_count < 1 || arguments[0] == nullptr) {
        return;
    }
    try {
        boost::system::error_code ignored;
        if (auto file = Orv::file::create(path, &ignored)) {
            std::string line = arguments[0];
            for (int i = 1; i < argument_count; ++i) {
                line.append(" ").append(arguments[i]);
            }
            file->append(line + "\n");
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): as promised
    }
}

} // namespace vandrel
