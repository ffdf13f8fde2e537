#pragma once

namespace vandrel {

/// Settings of the whole process, made once before its first output and its first path: the
/// standard streams carry bytes as they are written (a record's line feed stays one byte), and
/// boost::filesystem paths convert from and to UTF-8; writing to a pipe whose reader is gone is an
/// error.
void prepare_process();

/// Blocks until another thread ends the process.
[[noreturn]] void wait_for_process_end();

} // namespace vandrel
