#include "station/native_process.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/windows/object_handle.hpp>
#include <boost/asio/windows/stream_handle.hpp>

#include <array>
#include <cstdint>
#include <system_error>
#include <utility>

#include <windows.h>

namespace vandrel::station {

namespace {

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, handle_closer>;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

unique_handle checked(HANDLE handle, const std::string& what) {
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

SECURITY_ATTRIBUTES inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

/// The reading end is overlapped for the event loop; the writing end is overlapped and inheritable,
/// as vandrel needs it.
std::pair<unique_handle, unique_handle> make_pipe() {
    static int count = 0;
    const std::wstring name = L"\\\\.\\pipe\\vandrel-station-" +
                              std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++count);
    unique_handle reader = checked(
        CreateNamedPipeW(name.c_str(),
                         PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
                         PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, 65536, 0,
                         nullptr),
        "CreateNamedPipeW");
    SECURITY_ATTRIBUTES attributes = inheritable();
    unique_handle writer = checked(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes,
                                               OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr),
                                   "CreateFileW");
    return {std::move(reader), std::move(writer)};
}

unique_handle open_null_input() {
    SECURITY_ATTRIBUTES attributes = inheritable();
    return checked(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               &attributes, OPEN_EXISTING, 0, nullptr),
                   "NUL");
}

unique_handle open_diagnostics(const std::filesystem::path& path) {
    SECURITY_ATTRIBUTES attributes = inheritable();
    return checked(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr),
                   path.string());
}

/// By the rules by which CommandLineToArgvW takes a command line apart.
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

std::wstring environment_with(const std::filesystem::path& temporary_folder) {
    constexpr std::array<const wchar_t*, 3> names = {L"TEMP=", L"TMP=", L"TMPDIR="};
    const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> own(GetEnvironmentStringsW(),
                                                                           FreeEnvironmentStringsW);
    std::wstring block;
    for (const wchar_t* variable = own.get(); *variable != L'\0';) {
        const std::wstring text = variable;
        bool replaced = false;
        for (const wchar_t* name : names) {
            replaced = replaced || _wcsnicmp(text.c_str(), name, wcslen(name)) == 0;
        }
        if (!replaced) {
            block += text + L'\0';
        }
        variable += text.size() + 1;
    }
    for (const wchar_t* name : names) {
        block += name + temporary_folder.wstring() + L'\0';
    }
    return block + L'\0';
}

/// Ends the processes in it when its last handle is closed, which is when this process ends. The
/// handle is never closed before.
HANDLE job_of_all_tools() {
    static const HANDLE job = [] {
        unique_handle made = checked(CreateJobObjectW(nullptr, nullptr), "CreateJobObjectW");
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        if (!SetInformationJobObject(made.get(), JobObjectExtendedLimitInformation, &limits,
                                     sizeof limits)) {
            fail("SetInformationJobObject");
        }
        return made.release();
    }();
    return job;
}

class attribute_list {
public:
    explicit attribute_list(DWORD count) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, count, 0, &size);
        storage_.resize(size);
        if (!InitializeProcThreadAttributeList(get(), count, 0, &size)) {
            fail("InitializeProcThreadAttributeList");
        }
    }
    attribute_list(const attribute_list&) = delete;
    attribute_list& operator=(const attribute_list&) = delete;
    ~attribute_list() { DeleteProcThreadAttributeList(get()); }

    void add(DWORD_PTR attribute, void* value, SIZE_T size) {
        if (!UpdateProcThreadAttribute(get(), 0, attribute, value, size, nullptr, nullptr)) {
            fail("UpdateProcThreadAttribute");
        }
    }
    LPPROC_THREAD_ATTRIBUTE_LIST get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
    }

private:
    std::vector<std::byte> storage_;
};

std::wstring command_line(const process_start& start, HANDLE pipe) {
    std::wstring result = quoted(to_wide(start.program));
    for (const std::string& argument : start.arguments) {
        const auto pipe_number = reinterpret_cast<std::intptr_t>(pipe);
        result += L" " +
                  (argument == "{pipe}" ? std::to_wstring(pipe_number) : quoted(to_wide(argument)));
    }
    return result;
}

PROCESS_INFORMATION spawn(const process_start& start, HANDLE pipe) {
    const unique_handle input = open_null_input();
    const unique_handle output = open_diagnostics(start.diagnostics);
    std::array<HANDLE, 3> inherited{input.get(), output.get(), pipe};
    HANDLE job = job_of_all_tools();
    attribute_list attributes(2);
    attributes.add(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(), sizeof inherited);
    attributes.add(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job, sizeof job);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input.get();
    startup.StartupInfo.hStdOutput = output.get();
    startup.StartupInfo.hStdError = output.get();
    startup.lpAttributeList = attributes.get();
    std::wstring line = command_line(start, pipe);
    std::wstring environment = environment_with(start.temporary_folder);
    PROCESS_INFORMATION process{};
    const auto program = std::filesystem::absolute(to_wide(start.program)).wstring();
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                        EXTENDED_STARTUPINFO_PRESENT | CREATE_UNICODE_ENVIRONMENT |
                            CREATE_NO_WINDOW,
                        environment.data(), nullptr, &startup.StartupInfo, &process)) {
        fail(start.program);
    }
    CloseHandle(process.hThread);
    return process;
}

class windows_process final : public native_process {
public:
    windows_process(boost::asio::io_context& context, const PROCESS_INFORMATION& process,
                    HANDLE reader)
        : number_(static_cast<long>(process.dwProcessId)),
          process_(context, process.hProcess),
          stream_(context, reader) {}

    ~windows_process() override { TerminateProcess(process_.native_handle(), 1); }

    void async_read(std::span<char> buffer, read_handler handler) override {
        stream_.async_read_some(
            boost::asio::buffer(buffer.data(), buffer.size()),
            [handler = std::move(handler)](const boost::system::error_code& error,
                                           std::size_t count) { handler(error ? 0 : count); });
    }

    void async_wait(exit_handler handler) override {
        process_.async_wait(
            [this, handler = std::move(handler)](const boost::system::error_code& error) {
                if (error) {
                    return;
                }
                DWORD status = 0;
                GetExitCodeProcess(process_.native_handle(), &status);
                handler(static_cast<int>(status));
            });
    }

    void terminate() override { TerminateProcess(process_.native_handle(), 1); }

    std::size_t bytes_in_pipe() override {
        DWORD count = 0;
        return PeekNamedPipe(stream_.native_handle(), nullptr, 0, nullptr, &count, nullptr) ? count
                                                                                            : 0;
    }

    void close_stream() override {
        boost::system::error_code ignored;
        stream_.close(ignored);
    }

    long number() const override { return number_; }

private:
    long number_;
    boost::asio::windows::object_handle process_;
    boost::asio::windows::stream_handle stream_;
};

} // namespace

std::unique_ptr<native_process> start_process(boost::asio::io_context& context,
                                              const process_start& start) {
    auto [reader, writer] = make_pipe();
    const PROCESS_INFORMATION process = spawn(start, writer.get());
    return std::make_unique<windows_process>(context, process, reader.release());
}

} // namespace vandrel::station
