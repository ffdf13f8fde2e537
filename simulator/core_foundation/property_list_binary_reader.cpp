#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/set.h"
#include "simulator/core_foundation/string.h"
#include "simulator/core_foundation/unique_id.h"
#include "simulator/core_foundation/utf8.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string_view>

namespace simulator {

namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailer_size = 32;

/// A value in which containers are shared can unfold to far more values than the file has: thirty
/// nested arrays of two references each to 2^30. A traversal visits each shared container as often
/// as it is referred to, so the number of visits is limited too: to the number of bytes in the
/// file, or to this number if that is more.
constexpr std::size_t usual_unfolded_limit = 1'000'000;
/// The sum of two of these fits in 32 bits.
constexpr std::size_t largest_unfolded_limit = 0x7FFF'FFFF;

using byte_span = std::span<const std::uint8_t>;

[[noreturn]] void fail(const char* what) {
    throw property_list_error(std::string("binary property list: ") + what);
}

/// A big-endian number of at most eight bytes.
std::uint64_t unsigned_of(byte_span bytes) {
    std::uint64_t result = 0;
    for (const std::uint8_t byte : bytes) {
        result = result << 8 | byte;
    }
    return result;
}

/// The bytes at an object's offset, read from front to back.
class object_bytes {
public:
    /// `unclaimed` is the number of bytes that objects may still take. All objects together take no
    /// more than there are. Otherwise the same bytes could be millions of objects.
    object_bytes(byte_span bytes, std::uint64_t& unclaimed) : rest_(bytes), unclaimed_(unclaimed) {}

    byte_span take(std::uint64_t count) {
        if (count > rest_.size()) {
            fail("object runs past the end of the objects");
        }
        if (count > unclaimed_) {
            fail("objects overlap");
        }
        unclaimed_ -= count;
        const byte_span result = rest_.first(count);
        rest_ = rest_.subspan(count);
        return result;
    }

    /// Takes `count` elements of `size` bytes each.
    byte_span take_elements(std::uint64_t count, std::uint64_t size) {
        if (count > rest_.size() / size) {
            fail("object runs past the end of the objects");
        }
        return take(count * size);
    }

    /// The count in the low half of a marker. 15 means that an integer with the count follows.
    std::uint64_t take_count(unsigned low) {
        if (low != 0xF) {
            return low;
        }
        const unsigned marker = take(1).front();
        if (marker >> 4 != 0x1 || (marker & 0xF) > 3) {
            fail("bad count");
        }
        return unsigned_of(take(std::uint64_t{1} << (marker & 0xF)));
    }

private:
    byte_span rest_;
    std::uint64_t& unclaimed_;
};

owned<const object> create_integer(byte_span bytes) {
    // Up to four bytes are unsigned, and eight are signed. Of sixteen, the low half is used,
    // unsigned.
    if (bytes.size() > 8) {
        const std::uint64_t low = unsigned_of(bytes.subspan(8));
        if (low > std::numeric_limits<std::int64_t>::max()) {
            return create_value<__CFNumber>(low);
        }
        bytes = bytes.subspan(8);
    }
    return create_value<__CFNumber>(static_cast<std::int64_t>(unsigned_of(bytes)));
}

double real_of(byte_span bytes) {
    return bytes.size() == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(unsigned_of(bytes)))
                             : std::bit_cast<double>(unsigned_of(bytes));
}

/// Bytes that are not ASCII are read as Latin-1.
owned<const object> create_ascii_string(byte_span bytes) {
    if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte < 0x80; })) {
        return create_string_value(
            std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    std::string text;
    for (const std::uint8_t byte : bytes) {
        append_utf8(text, byte);
    }
    return create_string_value(std::move(text));
}

owned<const object> create_utf16_string(byte_span bytes) {
    std::string text;
    const bool is_valid = append_utf16(text, bytes, true);
    return create_value<__CFString>(std::move(text), static_cast<CFIndex>(bytes.size() / 2),
                                    is_valid);
}

owned<const object> create_unique_id(byte_span bytes) {
    const std::uint64_t number =
        bytes.size() > 8 ? std::numeric_limits<std::uint64_t>::max() : unsigned_of(bytes);
    if (number > std::numeric_limits<std::uint32_t>::max()) {
        fail("unique id beyond 32 bits");
    }
    return create_value<__CFKeyedArchiverUID>(static_cast<std::uint32_t>(number));
}

/// Reads from the top object down. Every object is created once, at the first reference to it.
class binary_reader {
public:
    explicit binary_reader(byte_span file) : file_(file) {
        if (file.size() < magic.size() + trailer_size) {
            fail("no room for a trailer");
        }
        const byte_span trailer = file.last(trailer_size);
        offset_size_ = trailer[6];
        reference_size_ = trailer[7];
        const std::uint64_t count = unsigned_of(trailer.subspan(8, 8));
        top_ = unsigned_of(trailer.subspan(16, 8));
        table_begin_ = unsigned_of(trailer.subspan(24, 8));
        const std::uint64_t table_end = file.size() - trailer_size;
        if (offset_size_ < 1 || offset_size_ > 8 || reference_size_ < 1 || reference_size_ > 8) {
            fail("bad size of offsets or references");
        }
        if (table_begin_ < magic.size() || table_begin_ > table_end ||
            count > (table_end - table_begin_) / offset_size_) {
            fail("offset table outside the file");
        }
        slots_.resize(count);
        for (std::uint64_t index = 0; index < count; ++index) {
            if (offset_of(index) < magic.size() || offset_of(index) >= table_begin_) {
                fail("object outside the objects");
            }
        }
        unclaimed_ = table_begin_ - magic.size();
        unfolded_limit_ = static_cast<std::uint32_t>(
            std::clamp(file.size(), usual_unfolded_limit, largest_unfolded_limit));
    }

    owned<const object> read() { return retained(value_at(top_, 0).value.get()); }

private:
    struct slot {
        owned<const object> value;
        /// The number of values that this would be if nothing were shared.
        std::uint32_t unfolded = 1;
        /// How many containers are nested here.
        std::int16_t height = 0;
        bool is_being_read = false;
    };

    std::uint64_t offset_of(std::uint64_t index) const {
        return unsigned_of(file_.subspan(table_begin_ + index * offset_size_, offset_size_));
    }

    /// `depth` is the number of containers around this.
    const slot& value_at(std::uint64_t index, int depth) {
        if (index >= slots_.size()) {
            fail("reference to no object");
        }
        slot& result = slots_[index];
        if (result.is_being_read) {
            fail("container inside itself");
        }
        if (!result.value) {
            result.is_being_read = true;
            const std::uint64_t offset = offset_of(index);
            object_bytes bytes(file_.subspan(offset, table_begin_ - offset), unclaimed_);
            read_value(bytes, result, depth);
            result.is_being_read = false;
        }
        return result;
    }

    void read_value(object_bytes& bytes, slot& result, int depth) {
        const unsigned marker = bytes.take(1).front();
        const unsigned low = marker & 0xF;
        switch (marker >> 4) {
        case 0xA:
            read_array(bytes, low, result, depth);
            return;
        case 0xC:
            read_set(bytes, low, result, depth);
            return;
        case 0xD:
            read_dictionary(bytes, low, result, depth);
            return;
        default:
            result.value = read_scalar(bytes, marker);
        }
    }

    owned<const object> read_scalar(object_bytes& bytes, unsigned marker) {
        const unsigned low = marker & 0xF;
        switch (marker) {
        case 0x00:
            return retained(static_cast<const object*>(static_cast<CFTypeRef>(kCFNull)));
        case 0x08:
            return retained<const object>(kCFBooleanFalse);
        case 0x09:
            return retained<const object>(kCFBooleanTrue);
        case 0x10:
        case 0x11:
        case 0x12:
        case 0x13:
        case 0x14:
            return create_integer(bytes.take(std::uint64_t{1} << low));
        case 0x22:
        case 0x23:
            return create_value<__CFNumber>(real_of(bytes.take(std::uint64_t{1} << low)));
        case 0x33:
            return create_value<__CFDate>(real_of(bytes.take(8)));
        default:
            break;
        }
        switch (marker >> 4) {
        case 0x4: {
            const byte_span content = bytes.take(bytes.take_count(low));
            return create_value<__CFData>(
                std::vector<std::uint8_t>(content.begin(), content.end()));
        }
        case 0x5:
            return create_ascii_string(bytes.take(bytes.take_count(low)));
        case 0x6:
            return create_utf16_string(bytes.take_elements(bytes.take_count(low), 2));
        case 0x8:
            return create_unique_id(bytes.take(low + 1));
        default:
            fail("unknown type of object");
        }
    }

    void read_array(object_bytes& bytes, unsigned low, slot& result, int depth) {
        const std::uint64_t count = bytes.take_count(low);
        const byte_span references = bytes.take_elements(count, reference_size_);
        check_depth(depth);
        result.height = 1;
        auto array = create_value<__CFArray>();
        array->values.reserve(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            array->values.push_back(retained(&read_element(references, i, result, depth)));
        }
        result.value = std::move(array);
    }

    void read_set(object_bytes& bytes, unsigned low, slot& result, int depth) {
        const std::uint64_t count = bytes.take_count(low);
        const byte_span references = bytes.take_elements(count, reference_size_);
        check_depth(depth);
        result.height = 1;
        auto set = create_value<__CFSet>();
        for (std::uint64_t i = 0; i < count; ++i) {
            set->members.add(read_element(references, i, result, depth), nullptr);
        }
        result.value = std::move(set);
    }

    /// Of two equal keys, the first is kept, with its value.
    void read_dictionary(object_bytes& bytes, unsigned low, slot& result, int depth) {
        const std::uint64_t count = bytes.take_count(low);
        const byte_span keys = bytes.take_elements(count, reference_size_);
        const byte_span values = bytes.take_elements(count, reference_size_);
        check_depth(depth);
        result.height = 1;
        auto dictionary = create_value<__CFDictionary>();
        // The limit is for keys that are all the same object.
        dictionary->table.reserve(std::min<std::uint64_t>(count, slots_.size()));
        for (std::uint64_t i = 0; i < count; ++i) {
            const object& key = read_element(keys, i, result, depth);
            if (cast<__CFString>(&key) == nullptr && cast<__CFNumber>(&key) == nullptr) {
                fail("key that is no string or number");
            }
            dictionary->table.add(key, &read_element(values, i, result, depth));
        }
        result.value = std::move(dictionary);
    }

    /// The object that the `i`-th of `references` refers to, as an element of `container`.
    const object& read_element(byte_span references, std::uint64_t i, slot& container, int depth) {
        const byte_span reference = references.subspan(i * reference_size_, reference_size_);
        const slot& element = value_at(unsigned_of(reference), depth + 1);
        container.height =
            std::max(container.height, static_cast<std::int16_t>(element.height + 1));
        container.unfolded += element.unfolded;
        check_depth(container.height - 1);
        if (container.unfolded > unfolded_limit_) {
            fail("shared containers unfold too far");
        }
        return *element.value;
    }

    static void check_depth(int depth) {
        if (depth >= property_list_depth_limit) {
            fail("containers nested too deep");
        }
    }

    const byte_span file_;
    std::uint64_t offset_size_ = 0;
    std::uint64_t reference_size_ = 0;
    std::uint64_t top_ = 0;
    std::uint64_t table_begin_ = 0;
    std::uint64_t unclaimed_ = 0;
    std::uint32_t unfolded_limit_ = 0;
    std::vector<slot> slots_;
};

} // namespace

bool is_binary_property_list(std::span<const std::uint8_t> bytes) {
    return std::ranges::equal(bytes.first(std::min(bytes.size(), magic.size())), magic);
}

owned<const object> read_binary_property_list(std::span<const std::uint8_t> bytes) {
    return binary_reader(bytes).read();
}

} // namespace simulator
