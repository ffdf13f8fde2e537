#pragma once

/// Signatures that diagnostics and assertions contain, except those of the assertions of
/// `--debug-dump` (MobileDeviceDebug.cpp). A diagnostic of the session or of the records begins
/// with a signature; the lines of `--help` and `--debug-dump` do not. Functions of the session that
/// run in a callback use the callback's signature, the records' functions their own. A failed
/// assertion also contains a source and a line. All of these are fixed identifiers, which readers
/// of logs search for and compare: they do not follow the compiler or the code.

#include "foundation/assertion.h"

#include <string_view>

namespace vandrel {

struct diagnostic_name {
    std::string_view signature;
    /// A fixed number that the function's assertion gives as its line; 0 if it has no assertion.
    int assertion_line = 0;
};

namespace diagnostic_names {

/// A fixed text that the session's assertions give as their source.
inline constexpr std::string_view session_source = "device/RestorableDeviceHandler.cpp";

inline constexpr diagnostic_name session_constructor{
    "__cdecl vandrel::device_notifier_state::device_notifier_state("
    "class std::shared_ptr<class vandrel::output_str_state>,"
    "const class std::optional<class boost::filesystem::path> &,"
    "const class std::optional<class boost::filesystem::path> &)",
    138};
inline constexpr diagnostic_name session_destructor{
    "__cdecl vandrel::device_notifier_state::~device_notifier_state(void)", 170};
inline constexpr diagnostic_name deviceNotificationCallback{
    "void __cdecl vandrel::device_notifier_state::deviceNotificationCallback("
    "struct _AMRestorableDevice *,enum vandrel::notification_type,void *)",
    179};
inline constexpr diagnostic_name waitForDevice{
    "class std::shared_ptr<struct _AMRestorableDevice> __cdecl "
    "vandrel::device_notifier_state::waitForDevice(const class Orv::ecid &)"};
inline constexpr diagnostic_name waitForCompletion{
    "int __cdecl vandrel::device_notifier_state::waitForCompletion(void)"};
inline constexpr diagnostic_name operateOnRecoveryDevice{
    "void __cdecl vandrel::device_notifier_state::operateOnRecoveryDevice("
    "struct _AMRecoveryModeDevice *)",
    269};
inline constexpr diagnostic_name restoreCallback{
    "void __cdecl vandrel::device_notifier_state::restoreCallback("
    "struct _AMRestorableDevice *,const struct __CFDictionary *,void *)",
    327};
inline constexpr diagnostic_name print_value{"void __cdecl vandrel::output_str_state::print_value("
                                             "const struct __CFString *,const void *)"};
inline constexpr diagnostic_name print_formatted_error{
    "void __cdecl vandrel::output_str_state::print_formatted_error(struct __CFError *)"};

} // namespace diagnostic_names

/// Reports a broken precondition of a function of the session. `name` is one with an assertion
/// line. Throws std::invalid_argument, as fail_assertion does.
[[noreturn]] inline void fail_session_assertion(const diagnostic_name& name,
                                                std::string_view condition) {
    fail_assertion(diagnostic_names::session_source, name.assertion_line, name.signature,
                   condition);
}

} // namespace vandrel
