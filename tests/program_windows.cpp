#include "tests/program.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <windows.h>

namespace vandrel::testing {

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

std::wstring to_wide(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size);
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

std::string to_utf8(const std::wstring& wide) {
    const int length = static_cast<int>(wide.size());
    std::string text(wide.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(),
                                         static_cast<int>(text.size()), nullptr, nullptr);
    text.resize(static_cast<std::size_t>(size));
    return text;
}

/// A named pipe from the program to the test. The write end is inheritable.
struct stream {
    unique_handle reader;
    unique_handle writer;
    std::string text;
    std::mutex mutex;
    std::condition_variable changed;
    bool has_ended = false;

    explicit stream(DWORD writer_flags) {
        static std::atomic<int> count = 0;
        const std::wstring name = L"\\\\.\\pipe\\vandrel-test-" +
                                  std::to_wstring(GetCurrentProcessId()) + L"-" +
                                  std::to_wstring(++count);
        reader = checked(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_INBOUND,
                                          PIPE_TYPE_BYTE | PIPE_WAIT, 1, 65536, 65536, 0, nullptr),
                         "CreateNamedPipeW");
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        writer = checked(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &inheritable, OPEN_EXISTING,
                                     writer_flags, nullptr),
                         "CreateFileW");
    }

    /// Waits for bytes and returns at most so many; none at the end.
    std::string read_some(std::size_t most) {
        std::array<char, 65536> buffer{};
        DWORD count = 0;
        if (!ReadFile(reader.get(), buffer.data(),
                      static_cast<DWORD>(std::min(most, buffer.size())), &count, nullptr)) {
            return {};
        }
        const std::lock_guard lock(mutex);
        text.append(buffer.data(), count);
        changed.notify_all();
        return {buffer.data(), count};
    }

    void read_to_the_end() {
        while (!read_some(SIZE_MAX).empty()) {
        }
        const std::lock_guard lock(mutex);
        has_ended = true;
        changed.notify_all();
    }

    /// Waits, while another thread reads, until `wanted` was read, or until the end. Returns
    /// whether it was read.
    bool wait_for(const std::string& wanted) {
        std::unique_lock lock(mutex);
        const auto is_read = [&] { return text.find(wanted) != std::string::npos; };
        changed.wait(lock, [&] { return has_ended || is_read(); });
        return is_read();
    }
};

/// Quotes a word as CommandLineToArgvW expects it.
std::wstring quoted(const std::wstring& argument) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') {
            result.append(backslashes + 1, L'\\');
        }
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        result += c;
    }
    result.append(backslashes, L'\\');
    return result + L'"';
}

std::wstring environment_with(const std::map<std::string, std::string>& additions) {
    const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> own(GetEnvironmentStringsW(),
                                                                           FreeEnvironmentStringsW);
    std::wstring block;
    for (const wchar_t* variable = own.get(); *variable != L'\0';) {
        const std::wstring text = variable;
        const bool replaced = std::ranges::any_of(additions, [&text](const auto& addition) {
            const std::wstring prefix = to_wide(addition.first) + L"=";
            return _wcsnicmp(text.c_str(), prefix.c_str(), prefix.size()) == 0;
        });
        if (!replaced) {
            block += text + L'\0';
        }
        variable += text.size() + 1;
    }
    for (const auto& [name, value] : additions) {
        block += to_wide(name) + L"=" + to_wide(value) + L'\0';
    }
    return block + L'\0';
}

unique_handle open_null_input() {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return checked(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               &inheritable, OPEN_EXISTING, 0, nullptr),
                   "CreateFileW");
}

unique_handle spawn(const program_call& call, const stream& output, const stream& error,
                    const stream& pipe) {
    std::wstring command_line = quoted(to_wide(call.program));
    for (const std::string& argument : call.arguments) {
        const auto pipe_number = reinterpret_cast<std::intptr_t>(pipe.writer.get());
        command_line += L" " + (argument == "{pipe}" ? std::to_wstring(pipe_number)
                                                     : quoted(to_wide(argument)));
    }
    const unique_handle input = open_null_input();
    std::vector<HANDLE> inherited{input.get(), output.writer.get(), error.writer.get()};
    if (call.inherits_pipe) {
        inherited.push_back(pipe.writer.get());
    }
    for (const std::intptr_t each : call.inherited) {
        inherited.push_back(reinterpret_cast<HANDLE>(each));
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<std::byte> storage(size);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input.get();
    startup.StartupInfo.hStdOutput = output.writer.get();
    startup.StartupInfo.hStdError = error.writer.get();
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
    if (!InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) ||
        !UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                   inherited.data(), inherited.size() * sizeof(HANDLE), nullptr,
                                   nullptr)) {
        fail("UpdateProcThreadAttribute");
    }
    std::wstring environment = environment_with(call.environment);
    PROCESS_INFORMATION process{};
    const BOOL started =
        CreateProcessW(to_wide(call.program).c_str(), command_line.data(), nullptr, nullptr, TRUE,
                       EXTENDED_STARTUPINFO_PRESENT | CREATE_UNICODE_ENVIRONMENT,
                       environment.data(), nullptr, &startup.StartupInfo, &process);
    DeleteProcThreadAttributeList(startup.lpAttributeList);
    if (!started) {
        fail(call.program.c_str());
    }
    CloseHandle(process.hThread);
    return unique_handle(process.hProcess);
}

} // namespace

struct running_program::system_process {
    explicit system_process(const program_call& started)
        : call(started), process(spawn(call, output, error, pipe)) {
        // From here on, only the program has the write ends open; the streams end with it.
        for (stream* each : {&output, &error, &pipe}) {
            each->writer.reset();
        }
        output_reader = std::thread([this] { output.read_to_the_end(); });
        error_reader = std::thread([this] { error.read_to_the_end(); });
        watch = std::thread([this] {
            const auto limit = std::chrono::milliseconds(call.limit).count();
            if (WaitForSingleObject(process.get(), static_cast<DWORD>(limit)) != WAIT_OBJECT_0) {
                has_hung = true;
                TerminateProcess(process.get(), 1);
            }
        });
    }
    ~system_process() {
        TerminateProcess(process.get(), 1);
        join();
    }
    system_process(const system_process&) = delete;
    system_process& operator=(const system_process&) = delete;

    void join() {
        for (std::thread* each : {&output_reader, &error_reader, &watch}) {
            if (each->joinable()) {
                each->join();
            }
        }
    }

    void expect_no_hang() {
        if (has_hung) {
            join();
            throw std::runtime_error(call.program + " did not end. It wrote:\n" + output.text +
                                     "\nand on standard error:\n" + error.text +
                                     "\nand to the pipe:\n" + pipe.text);
        }
    }

    program_call call;
    stream output = stream(0);
    stream error = stream(0);
    stream pipe = stream(FILE_FLAG_OVERLAPPED);
    unique_handle process;
    std::thread output_reader;
    std::thread error_reader;
    std::thread watch;
    std::atomic<bool> has_hung = false;
};

running_program::running_program(const program_call& call)
    : process_(std::make_unique<system_process>(call)) {}

running_program::running_program(running_program&&) noexcept = default;
running_program::~running_program() = default;

std::string running_program::read_pipe(std::size_t most) {
    std::string piece = process_->pipe.read_some(most);
    process_->expect_no_hang();
    return piece;
}

void running_program::wait_for_error_text(const std::string& text) {
    if (!process_->error.wait_for(text)) {
        process_->expect_no_hang();
        throw std::runtime_error("not on standard error: " + text + "\nbut:\n" +
                                 process_->error.text);
    }
}

void running_program::close_pipe() {
    process_->pipe.reader.reset();
}

program_result running_program::wait() {
    if (process_->pipe.reader) {
        process_->pipe.read_to_the_end();
    }
    process_->join();
    process_->expect_no_hang();
    DWORD status = 0;
    GetExitCodeProcess(process_->process.get(), &status);
    return {static_cast<int>(status), process_->output.text, process_->error.text,
            process_->pipe.text};
}

program_result run_program(const program_call& call) {
    return running_program(call).wait();
}

std::string program_folder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return to_utf8(path.substr(0, path.find_last_of(L'\\')));
}

std::string program_file_name(const std::string& name) {
    return name + ".exe";
}

std::string library_file_name(const std::string& name) {
    return name + ".dll";
}

std::vector<std::string> device_names() {
    return {"NUL"};
}

std::vector<std::string> temporary_folder_variables() {
    return {"TMP", "TEMP"};
}

} // namespace vandrel::testing
