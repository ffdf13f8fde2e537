#pragma once

namespace vandrel {

enum class apple_library { core_foundation, mobile_device };

/// An open library, for find_symbol. Never closed.
using library_handle = void*;

/// Throws apple_library_missing.
library_handle open_apple_library(apple_library which);

/// As find_native_symbol.
void* find_symbol(library_handle library, const char* name);

} // namespace vandrel
