#pragma once

/// The dictionary of options that MobileDevice's restore function takes, from a bundle and from a
/// file.

#include "foundation/cf_handle.h"

#include <boost/filesystem/path.hpp>

namespace vandrel {

/// For a restore of the IPSW bundle at `bundle`: MobileDevice's default options, with these set:
/// the bundle's path, a path under `scratch` for its personalised copy (different in each call),
/// and the two values for an erasing or an updating restore. Throws std::runtime_error when
/// MobileDevice has no defaults or a path cannot be converted.
cf_handle<CFMutableDictionaryRef> make_restore_options(const boost::filesystem::path& bundle,
                                                       bool erase,
                                                       const boost::filesystem::path& scratch);

/// The dictionary at the top of the property-list file at `path`, unchanged. The file has any
/// format that CoreFoundation reads, and at most 1 GiB. Throws cf_error_handle, an error of the
/// code read_error, for every failure; std::bad_alloc if there is no memory for that error.
cf_handle<CFDictionaryRef> read_restore_plist(const boost::filesystem::path& path);

} // namespace vandrel
