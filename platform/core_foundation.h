#pragma once

/// The functions and constants of Apple's CoreFoundation that are used here, under their own names.
/// The comment in forwarded.inc lists those that the product does not use.
///
/// Our own declarations, after CoreFoundation's public documentation. Whoever includes this links
/// exactly one supplier of the functions and constants: `platform/forwarding` (Apple's libraries)
/// or `simulator`. Ownership follows the Create rule: what a function with Create or Copy in its
/// name returns belongs to the caller, who releases it once with CFRelease; what others return does
/// not. A function with Create or Copy in its name returns null if it cannot make its result.
/// Unless said otherwise, every function may be called from any thread, but no object is changed
/// while another thread uses it.

#include <atomic>
#include <cstdint>

extern "C" {

// --- base

/// Counts, lengths and positions. 64 bits on every host that the program runs on.
using CFIndex = std::int64_t;
using CFTypeID = std::uint64_t;
using CFOptionFlags = std::uint64_t;
using CFHashCode = std::uint64_t;
/// 0 is false, anything else true.
using Boolean = unsigned char;

using CFTypeRef = const void*;
using CFStringRef = const struct __CFString*;
using CFNumberRef = const struct __CFNumber*;
using CFBooleanRef = const struct __CFBoolean*;
using CFDateRef = const struct __CFDate*;
using CFDataRef = const struct __CFData*;
using CFArrayRef = const struct __CFArray*;
using CFMutableArrayRef = struct __CFArray*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFMutableDictionaryRef = struct __CFDictionary*;
using CFSetRef = const struct __CFSet*;
using CFMutableSetRef = struct __CFSet*;
using CFErrorRef = struct __CFError*;
using CFNullRef = const struct __CFNull*;
using CFURLRef = const struct __CFURL*;
using CFAllocatorRef = const struct __CFAllocator*;

struct CFRange {
    CFIndex location;
    CFIndex length;
};

/// Null: the default allocator.
extern const CFAllocatorRef kCFAllocatorDefault;
/// Neither allocates nor frees. As a deallocator: the caller keeps ownership of the bytes.
extern const CFAllocatorRef kCFAllocatorNull;

/// `object` is not null. Returns it, with one more reference, which the caller releases.
CFTypeRef CFRetain(CFTypeRef object);
/// `object` is not null.
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
Boolean CFEqual(CFTypeRef left, CFTypeRef right);
/// A text for diagnostics.
CFStringRef CFCopyDescription(CFTypeRef object);

// --- strings

using CFStringEncoding = std::uint32_t;
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

inline constexpr CFIndex kCFNotFound = -1;
using CFStringCompareFlags = CFOptionFlags;

CFTypeID CFStringGetTypeID();
/// `text` ends in a zero byte. Null when it is not valid in `encoding`.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                      CFStringEncoding encoding);
/// Null when the bytes are not valid in `encoding`.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const std::uint8_t* bytes,
                                    CFIndex count, CFStringEncoding encoding,
                                    Boolean is_external_representation);
/// In UTF-16 code units.
CFIndex CFStringGetLength(CFStringRef string);
/// The most bytes that `length` UTF-16 code units can take, without a terminating zero; -1 if the
/// number does not fit.
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
/// The first range of `string` that is `string_to_find`, in UTF-16 code units; kCFNotFound and 0 if
/// there is none, or if `string_to_find` is empty. Without options, characters must be identical.
CFRange CFStringFind(CFStringRef string, CFStringRef string_to_find, CFStringCompareFlags options);
/// Fills `buffer` with the text and a zero byte; false when `size` bytes do not hold them, or when
/// the text has no form in `encoding`, such as an unpaired surrogate in UTF-8.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);
/// The string that stands for a literal; the same one for the same text, never freed.
CFStringRef __CFStringMakeConstantString(const char* text);

// --- numbers, booleans, dates, null

using CFNumberType = CFIndex;
inline constexpr CFNumberType kCFNumberSInt16Type = 2;
inline constexpr CFNumberType kCFNumberSInt32Type = 3;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
inline constexpr CFNumberType kCFNumberFloat64Type = 6;
inline constexpr CFNumberType kCFNumberCFIndexType = 14;

CFTypeID CFNumberGetTypeID();
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
/// Writes the number into `*value`, of `type`; false if it does not fit there without loss. An
/// unsigned number of as many bits fits: 65535 as 16 bits gives true and -1.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID();
Boolean CFBooleanGetValue(CFBooleanRef boolean);

/// Seconds since 2001-01-01 00:00:00 UTC.
using CFAbsoluteTime = double;
CFTypeID CFDateGetTypeID();
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);

extern const CFNullRef kCFNull;

// --- data

CFTypeID CFDataGetTypeID();
CFDataRef CFDataCreate(CFAllocatorRef allocator, const std::uint8_t* bytes, CFIndex count);
/// Refers to the caller's bytes instead of copying them. `deallocator` frees them with the object;
/// with kCFAllocatorNull, the caller does, after the object's end.
CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const std::uint8_t* bytes,
                                      CFIndex count, CFAllocatorRef deallocator);
const std::uint8_t* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

// --- containers

/// How a container keeps its elements. Only the four standard groups of callbacks are declared.
/// They retain, release and compare elements as CoreFoundation objects; those for dictionary keys
/// and for sets also hash them. The product does not use their members.
struct CFArrayCallBacks {
    CFIndex version;
    const void* functions[4];
};
struct CFDictionaryKeyCallBacks {
    CFIndex version;
    const void* functions[5];
};
struct CFDictionaryValueCallBacks {
    CFIndex version;
    const void* functions[4];
};
struct CFSetCallBacks {
    CFIndex version;
    const void* functions[5];
};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
extern const CFSetCallBacks kCFTypeSetCallBacks;

using CFArrayApplierFunction = void (*)(const void* value, void* context);
using CFDictionaryApplierFunction = void (*)(const void* key, const void* value, void* context);
using CFSetApplierFunction = void (*)(const void* value, void* context);

CFTypeID CFArrayGetTypeID();
/// `capacity` is a hint; 0 for none.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callbacks);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                          void* context);

CFTypeID CFDictionaryGetTypeID();
/// `capacity` is a hint; 0 for none.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks);
/// A shallow copy.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
/// Null when the key is absent.
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
/// Inserts, or replaces the value of an equal key. `key` and `value` are not null.
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context);

CFTypeID CFSetGetTypeID();
CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                   const CFSetCallBacks* callbacks);
void CFSetAddValue(CFMutableSetRef set, const void* value);
void CFSetApplyFunction(CFSetRef set, CFSetApplierFunction applier, void* context);

// --- errors

extern const CFStringRef kCFErrorLocalizedDescriptionKey;
extern const CFStringRef kCFErrorLocalizedFailureReasonKey;
CFTypeID CFErrorGetTypeID();
/// `user_info` may be null.
CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                         CFDictionaryRef user_info);
CFStringRef CFErrorGetDomain(CFErrorRef error);
CFIndex CFErrorGetCode(CFErrorRef error);
/// Null when there is none.
CFStringRef CFErrorCopyDescription(CFErrorRef error);
/// Null when there is none.
CFStringRef CFErrorCopyFailureReason(CFErrorRef error);

// --- URLs

/// `base` may be null. Null when `text` is not a URL.
CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);

// --- property lists

using CFPropertyListRef = CFTypeRef;
using CFPropertyListFormat = CFIndex;
inline constexpr CFPropertyListFormat kCFPropertyListOpenStepFormat = 1;
inline constexpr CFPropertyListFormat kCFPropertyListXMLFormat_v1_0 = 100;
inline constexpr CFPropertyListFormat kCFPropertyListBinaryFormat_v1_0 = 200;
inline constexpr CFOptionFlags kCFPropertyListImmutable = 0;

/// The serialised form of `plist`; the simulator only makes XML. Null on failure; `*error`, if
/// `error` is not null, is then an owned error, or null if none could be made.
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef plist,
                                   CFPropertyListFormat format, CFOptionFlags options,
                                   CFErrorRef* error);
/// Reads any format that CoreFoundation knows; the simulator only XML and the binary format. On
/// success, `*format`, if `format` is not null, is set to the one that was found. Failures are as
/// for CFPropertyListCreateData.
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);

} // extern "C"

/// The constant string of a literal. `place` keeps it, because the lookup is slow. Concurrent
/// lookups return the same string.
inline CFStringRef constant_string(std::atomic<CFStringRef>& place, const char* literal) {
    CFStringRef constant = place.load(std::memory_order_acquire);
    if (constant == nullptr) {
        constant = __CFStringMakeConstantString(literal);
        place.store(constant, std::memory_order_release);
    }
    return constant;
}

/// The constant string of a literal. Each place where it is used looks it up once; the first uses
/// may do so on several threads at once.
#define CFSTR(literal)                                                                             \
    ([]() -> CFStringRef {                                                                         \
        static std::atomic<CFStringRef> cfstr_place;                                               \
        return constant_string(cfstr_place, "" literal "");                                        \
    }())
