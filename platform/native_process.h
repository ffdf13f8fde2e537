#pragma once

namespace vandrel {

/// Sets up the process. Call once, before the first output and the first path conversion. From then
/// on, standard output and standard error carry bytes as they are written (a record's line feed
/// stays one byte), boost::filesystem paths convert from and to UTF-8, and writing to a pipe whose
/// reader is gone is an error.
void prepare_process();

/// Blocks until another thread ends the process.
[[noreturn]] void wait_for_process_end();

} // namespace vandrel
