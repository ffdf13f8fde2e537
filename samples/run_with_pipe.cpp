// Starts vandrel with a pipe, and prints each record when it arrives:
//
//     run_with_pipe.exe C:\vandrel\vandrel.exe --list-devices
//
// vandrel's other output goes to standard error. The exit status is that of vandrel.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
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

using record_handler = std::function<void(std::string_view)>;

// A read may return any part of the stream; each record ends with </plist> and a line feed.
void read_records(HANDLE reader, const record_handler& handle_record) {
    constexpr std::string_view end = "</plist>\n";
    std::string text;
    std::array<char, 65536> piece{};
    DWORD size = 0;
    while (ReadFile(reader, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr)) {
        text.append(piece.data(), size);
        for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end)) {
            handle_record(std::string_view(text).substr(0, at + end.size()));
            text.erase(0, at + end.size());
        }
    }
    if (GetLastError() != ERROR_BROKEN_PIPE) {
        fail("ReadFile");
    }
    if (!text.empty()) {
        std::cerr << "The last record is incomplete.\n";
    }
}

DWORD run(const std::vector<std::wstring>& words, const record_handler& handle_record) {
    record_pipe pipe = make_record_pipe();
    std::wstring command_line;
    for (const std::wstring& word : words) {
        command_line += quoted(word) + L" ";
    }
    const auto number = reinterpret_cast<std::intptr_t>(pipe.writer.get());
    command_line += L"--output-pipe " + std::to_wstring(number);
    const unique_handle process = start(command_line, pipe.writer.get());
    // From here on, only vandrel has the write end open; when it closes it, the stream ends.
    pipe.writer.reset();
    read_records(pipe.reader.get(), handle_record);
    WaitForSingleObject(process.get(), INFINITE);
    DWORD result = 0;
    if (!GetExitCodeProcess(process.get(), &result)) {
        fail("GetExitCodeProcess");
    }
    return result;
}

} // namespace

int wmain(int count, wchar_t** words) {
    if (count < 2) {
        std::cerr << "usage: run_with_pipe VANDREL [ARGUMENTS]\n";
        return 64;
    }
    try {
        const DWORD result = run({words + 1, words + count}, [](std::string_view record) {
            std::cout << record << std::flush;
        });
        return static_cast<int>(result);
    } catch (const std::exception& error) {
        std::cerr << "run_with_pipe: " << error.what() << '\n';
        return 65;
    }
}
