// Starts vandrel with a pipe, prints each record when it arrives, and judges the run by them:
//
//     run_with_pipe.exe C:\vandrel\vandrel.exe --restore iPhone.ipsw --ecid 0001A2B3C4D5E6F7
//     run_with_pipe.exe --records FILE
//
// The second form judges the records in a file. vandrel's other output goes to standard error. So
// do its exit status if that is not 0, the number of records that cannot be read, and the verdict.
// The exit status of run_with_pipe is the verdict's:
//
//     0   restored; for another command, and with --enter-restore-mode: done
//     1   failed
//     2   timed out
//     3   connection lost: the device was unplugged, or the cable is bad
//     4   not completed: vandrel ended, or the file ends, and no record says how the run went
//
// The exit status is 64 for wrong arguments, and 65 if run_with_pipe itself fails.

#include "records.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <windows.h>

namespace {

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, handle_closer>;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

unique_handle checked(HANDLE handle, const char* what) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        fail(what);
    }
    return unique_handle(handle);
}

SECURITY_ATTRIBUTES inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

struct record_pipe {
    unique_handle reader;
    unique_handle writer;
};

// vandrel needs a write end that is overlapped and inheritable; the read end is neither.
record_pipe make_record_pipe() {
    static int count = 0;
    const std::wstring name = L"\\\\.\\pipe\\vandrel-records-" +
                              std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++count);
    record_pipe pipe;
    pipe.reader =
        checked(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                 PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 0,
                                 65536, 0, nullptr),
                "CreateNamedPipeW");
    SECURITY_ATTRIBUTES attributes = inheritable();
    pipe.writer = checked(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes, OPEN_EXISTING,
                                      FILE_FLAG_OVERLAPPED, nullptr),
                          "CreateFileW");
    return pipe;
}

unique_handle open_null_input() {
    SECURITY_ATTRIBUTES attributes = inheritable();
    return checked(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               &attributes, OPEN_EXISTING, 0, nullptr),
                   "CreateFileW");
}

unique_handle inheritable_error_stream() {
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_ERROR_HANDLE), GetCurrentProcess(),
                         &copy, 0, TRUE, DUPLICATE_SAME_ACCESS)) {
        fail("DuplicateHandle");
    }
    return unique_handle(copy);
}

// Quotes a word as the C run-time's parser of command lines expects it.
std::wstring quoted(const std::wstring& word) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') {
            result.append(backslashes + 1, L'\\');
        }
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        result += c;
    }
    result.append(backslashes, L'\\');
    return result + L'"';
}

// The only handles of ours that the program inherits.
class inherited_handles {
public:
    explicit inherited_handles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        if (!InitializeProcThreadAttributeList(list(), 1, 0, &size)) {
            fail("InitializeProcThreadAttributeList");
        }
        if (!UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                       handles_.data(), handles_.size() * sizeof(HANDLE), nullptr,
                                       nullptr)) {
            fail("UpdateProcThreadAttribute");
        }
    }
    ~inherited_handles() { DeleteProcThreadAttributeList(list()); }
    inherited_handles(const inherited_handles&) = delete;
    inherited_handles& operator=(const inherited_handles&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST list() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
    }

private:
    std::vector<HANDLE> handles_;
    std::vector<std::byte> storage_;
};

unique_handle start(std::wstring command_line, HANDLE pipe) {
    const unique_handle input = open_null_input();
    const unique_handle output = inheritable_error_stream();
    inherited_handles inherited({input.get(), output.get(), pipe});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input.get();
    startup.StartupInfo.hStdOutput = output.get();
    startup.StartupInfo.hStdError = output.get();
    startup.lpAttributeList = inherited.list();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, TRUE,
                        EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &startup.StartupInfo,
                        &process)) {
        fail("CreateProcessW");
    }
    CloseHandle(process.hThread);
    return unique_handle(process.hProcess);
}

// Reads to the end of a pipe or file.
void read_records(HANDLE stream, record_reader& records) {
    std::array<char, 65536> piece{};
    for (;;) {
        DWORD size = 0;
        if (!ReadFile(stream, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr)) {
            if (GetLastError() != ERROR_BROKEN_PIPE) {
                fail("ReadFile");
            }
            break;
        }
        if (size == 0) {
            break;
        }
        records.take({piece.data(), size});
    }
    records.finish();
}

// Returns vandrel's exit status.
DWORD run(const std::vector<std::wstring>& words, record_reader& records) {
    record_pipe pipe = make_record_pipe();
    std::wstring command_line;
    for (const std::wstring& word : words) {
        command_line += quoted(word) + L" ";
    }
    const auto number = reinterpret_cast<std::intptr_t>(pipe.writer.get());
    command_line += L"--output-pipe " + std::to_wstring(number);
    const unique_handle process = start(command_line, pipe.writer.get());
    // From here on, only vandrel has the write end open. The stream ends when vandrel closes it.
    pipe.writer.reset();
    read_records(pipe.reader.get(), records);
    WaitForSingleObject(process.get(), INFINITE);
    DWORD result = 0;
    if (!GetExitCodeProcess(process.get(), &result)) {
        fail("GetExitCodeProcess");
    }
    return result;
}

} // namespace

int wmain(int count, wchar_t** words) {
    const std::vector<std::wstring> arguments(words + 1, words + count);
    const bool is_file = !arguments.empty() && arguments[0] == L"--records";
    if (arguments.empty() || (is_file && arguments.size() != 2)) {
        std::cerr << "usage: run_with_pipe VANDREL [ARGUMENTS], or run_with_pipe --records FILE\n";
        return 64;
    }
    try {
        run_judge judge(std::find(arguments.begin(), arguments.end(), L"--enter-restore-mode") !=
                        arguments.end());
        record_reader records([&judge](std::string_view document, const plist_value& record) {
            std::cout << document << std::endl;
            judge.take(record);
        });
        if (is_file) {
            const unique_handle file =
                checked(CreateFileW(arguments[1].c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr),
                        "CreateFileW");
            read_records(file.get(), records);
        } else if (const DWORD exit_status = run(arguments, records); exit_status != 0) {
            std::cerr << "vandrel's exit status: " << exit_status << '\n';
        }
        const auto [status, text] = judge.verdict();
        std::cerr << text << '\n';
        return status;
    } catch (const std::exception& error) {
        std::cerr << "run_with_pipe: " << error.what() << '\n';
        return 65;
    }
}
