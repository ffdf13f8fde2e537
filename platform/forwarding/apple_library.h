#pragma once

namespace vandrel {

enum class apple_library { core_foundation, mobile_device };

/// An open library, for find_symbol. It stays open for good.
using library_handle = void*;

/// Throws apple_library_missing.
library_handle open_apple_library(apple_library which);

/// Where the library has the function or the variable of that name; null when it has none.
void* find_symbol(library_handle library, const char* name);

} // namespace vandrel
