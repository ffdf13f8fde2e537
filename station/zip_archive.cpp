#include "station/zip_archive.h"

#include "station/bundle.h"
#include "station/text.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string_view>
#include <system_error>

namespace vandrel::station {

namespace {

constexpr std::size_t piece_size = std::size_t{256} * 1024;
constexpr std::uint64_t most_entries = 100'000;

struct file_closer {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using unique_file = std::unique_ptr<zip_file_t, file_closer>;

/// The number of so many bytes at this place, the lowest byte first.
std::uint64_t number_at(std::string_view bytes, std::size_t place, std::size_t count) {
    std::uint64_t number = 0;
    for (std::size_t i = count; i > 0; --i) {
        number = number << 8U | static_cast<unsigned char>(bytes[place + i - 1]);
    }
    return number;
}

/// What the records at the end of a zip say of its directory.
struct directory {
    std::uint64_t entries = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;
};

/// The record at the end of a zip, and the two that stand before it in a zip with 64-bit numbers.
class end_of_zip {
public:
    static constexpr std::string_view signature = "PK\x05\x06";
    static constexpr std::size_t size = 22;
    static constexpr std::size_t longest_comment = 65535;

    end_of_zip(std::istream& file, std::uint64_t file_size) : file_(file), file_size_(file_size) {
        constexpr std::size_t most = longest_comment + size + locator_size;
        begin_ = file_size - std::min<std::uint64_t>(file_size, most);
        tail_ = bytes_at(begin_, static_cast<std::size_t>(file_size - begin_));
    }

    /// Whether there is such a record, and each place that looks like one says what is possible.
    bool is_possible() const {
        bool is_found = false;
        for (std::size_t at = tail_.find(signature); at != std::string::npos;
             at = tail_.find(signature, at + 1)) {
            if (at + size > tail_.size()) {
                break;
            }
            is_found = true;
            if (!is_possible(directory_at(at))) {
                return false;
            }
        }
        return is_found;
    }

    bool is_there() const { return tail_.find(signature) != std::string::npos; }

private:
    static constexpr std::size_t locator_size = 20;
    static constexpr std::size_t large_size = 56;

    std::string bytes_at(std::uint64_t place, std::size_t count) const {
        std::string bytes(count, '\0');
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(place));
        file_.read(bytes.data(), static_cast<std::streamsize>(count));
        bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file_.gcount(), 0)));
        return bytes;
    }

    directory directory_at(std::size_t at) const {
        constexpr std::size_t locator_place = 8;
        if (at >= locator_size && tail_.compare(at - locator_size, 4, "PK\x06\x07") == 0) {
            const std::uint64_t place = number_at(tail_, at - locator_size + locator_place, 8);
            const std::string large =
                place < file_size_ ? bytes_at(place, large_size) : std::string();
            if (large.size() == large_size && large.starts_with("PK\x06\x06")) {
                return {number_at(large, 32, 8), number_at(large, 40, 8), number_at(large, 48, 8)};
            }
        }
        return {number_at(tail_, at + 10, 2), number_at(tail_, at + 12, 4),
                number_at(tail_, at + 16, 4)};
    }

    bool is_possible(const directory& what) const {
        constexpr std::uint64_t smallest_entry = 46;
        return what.entries <= most_entries && what.offset <= file_size_ &&
               what.size <= file_size_ - what.offset && what.entries <= what.size / smallest_entry;
    }

    std::istream& file_;
    std::uint64_t file_size_;
    std::uint64_t begin_ = 0;
    std::string tail_;
};

std::uint64_t size_of(const std::filesystem::path& path) {
    std::error_code error;
    const bool is_file = std::filesystem::is_regular_file(path, error);
    const std::uint64_t size = is_file ? std::filesystem::file_size(path, error) : 0;
    if (error) {
        throw unusable_file(path, "is no IPSW that can be read: " + error.message());
    }
    if (!is_file) {
        // Opening a pipe would wait for whoever writes into it.
        throw unusable_file(path, "is no IPSW: it is no file");
    }
    return size;
}

/// libzip makes room for as many entries as the directory claims to have, before it looks for them.
void check_directory(const std::filesystem::path& path, std::uint64_t size) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw unusable_file(path, "is no IPSW that can be read: it cannot be opened");
    }
    const end_of_zip end(file, size);
    if (!end.is_there()) {
        throw unusable_file(path, "is no IPSW, or only the first part of one: "
                                  "it has no directory at its end");
    }
    if (!end.is_possible()) {
        throw unusable_file(path, "is a broken IPSW: its directory cannot be what it says");
    }
}

} // namespace

zip_archive::zip_archive(const std::filesystem::path& path) : path_(path), size_(size_of(path)) {
    check_directory(path, size_);
    int code = 0;
    // libzip takes file names as UTF-8, on Windows too.
    zip_.reset(zip_open(text_of(path).c_str(), ZIP_RDONLY, &code));
    if (!zip_) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string why = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw unusable_file(path, "is no IPSW that can be read: " + why);
    }
}

std::uint64_t zip_archive::unpacked_size() const {
    std::uint64_t sum = 0;
    const zip_int64_t count = zip_get_num_entries(zip_.get(), 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t entry;
        zip_stat_init(&entry);
        if (zip_stat_index(zip_.get(), static_cast<zip_uint64_t>(i), 0, &entry) == 0) {
            // A sum that is too large becomes the largest number, which is larger than any disk.
            constexpr auto most = std::numeric_limits<std::uint64_t>::max();
            sum += std::min<std::uint64_t>(entry.size, most - sum);
        }
    }
    return sum;
}

std::optional<std::string> zip_archive::read(const char* name, std::size_t most) const {
    const zip_int64_t index = zip_name_locate(zip_.get(), name, 0);
    if (index < 0) {
        return {};
    }
    const unique_file file(zip_fopen_index(zip_.get(), static_cast<zip_uint64_t>(index), 0));
    std::string text;
    std::string piece(piece_size, '\0');
    zip_int64_t count = file ? 1 : -1;
    while (count > 0 && text.size() <= most) {
        count = zip_fread(file.get(), piece.data(), piece.size());
        text.append(piece, 0, static_cast<std::size_t>(std::max<zip_int64_t>(count, 0)));
    }
    if (count < 0) {
        throw unusable_file(path_,
                            std::string("is a broken IPSW: its ") + name + " cannot be unpacked");
    }
    return text;
}

void zip_archive::verify() const {
    std::string piece(piece_size, '\0');
    const zip_int64_t entries = zip_get_num_entries(zip_.get(), 0);
    for (zip_int64_t i = 0; i < entries; ++i) {
        const auto index = static_cast<zip_uint64_t>(i);
        zip_stat_t entry;
        zip_stat_init(&entry);
        const bool is_known = zip_stat_index(zip_.get(), index, 0, &entry) == 0;
        const unique_file file(is_known ? zip_fopen_index(zip_.get(), index, 0) : nullptr);
        std::uint64_t unpacked = 0;
        zip_int64_t count = file ? 1 : -1;
        while (count > 0 && unpacked <= entry.size) {
            count = zip_fread(file.get(), piece.data(), piece.size());
            unpacked += static_cast<std::uint64_t>(std::max<zip_int64_t>(count, 0));
        }
        if (count < 0 || unpacked != entry.size) {
            const std::string name =
                is_known && (entry.valid & ZIP_STAT_NAME) != 0 ? printable(entry.name) : "an entry";
            throw unusable_file(path_, "is a broken IPSW: " + name +
                                           " in it is not what it was: copy it again");
        }
    }
}

} // namespace vandrel::station
