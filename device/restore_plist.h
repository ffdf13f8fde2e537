#pragma once

#include "foundation/cf_handle.h"

#include <boost/filesystem/path.hpp>

namespace vandrel {

/// The dictionary at the top of the property-list file at `path`, in any format that
/// CoreFoundation reads; at most 1 GiB. Throws cf_error_handle, an error of the code read_error,
/// for whatever is wrong with the file.
cf_handle<CFDictionaryRef> read_restore_plist(const boost::filesystem::path& path);

} // namespace vandrel
