#include "station/replace_file.h"

#include "station/host.h"

#include <fstream>
#include <system_error>

namespace vandrel::station {

std::optional<std::string> replace_file(const std::filesystem::path& file,
                                        std::string_view content) {
    std::error_code error;
    std::filesystem::path unfinished = file;
    // Another process may write its own unfinished file.
    unfinished += "." + std::to_string(own_process_number());
    std::ofstream stream(unfinished, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (stream) {
        std::filesystem::rename(unfinished, file, error);
        if (!error) {
            return std::nullopt;
        }
    }
    std::error_code ignored;
    std::filesystem::remove(unfinished, ignored);
    return error ? error.message() : "";
}

} // namespace vandrel::station
