#include "testlib/Platform.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <io.h>
#include <malloc.h>
#include <stdexcept>
#include <winsock2.h>

namespace testlib {

namespace {

template <class T> T require(T result) {
    if (!result) {
        throw std::runtime_error("the test could not make what it needs");
    }
    return result;
}

/** @return the end to read from, and that to write to */
std::pair<int, int> makePipe() {
    int ends[2];
    require(_pipe(ends, 4096, _O_BINARY) == 0);
    return {ends[0], ends[1]};
}

/** These have their names in a folder of their own. */
std::string pipeName(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char letter) { return letter == '/' || letter == ':'; }, '-');
    return "\\\\.\\pipe\\" + name;
}

/** @return a pipe of that name for one reader, who is to find it before the one before is closed */
HANDLE newEnd(const std::string& path) {
    const HANDLE end = CreateNamedPipeA(path.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, PIPE_UNLIMITED_INSTANCES,
                                        4096, 4096, 0, nullptr);
    require(end != INVALID_HANDLE_VALUE);
    return end;
}

} // namespace

const char* const emptyDevice = "NUL";
const bool foldersOpen = false;
const bool posixNames = false;
const bool sortsStably = false;
const char* const textReturn = "";
const char* const moduleSuffix = ".dll";
const int pipeSignal = SIGABRT;

void setEnvironment(const std::string& name, const std::string& value) {
    _putenv_s(name.c_str(), value.c_str());
}

void endAfter(unsigned /*seconds*/) {} // this is left to who runs the tests

bool hasAborted(int status) {
    return status == 3;
}

bool limitFileSize(size_t /*size*/) {
    return false;
}

std::FILE* openFull() {
    const auto [reading, writing] = makePipe();
    _close(reading);
    return _fdopen(writing, "wb");
}

std::optional<std::string> outputOf(const std::string& /*script*/) {
    return std::nullopt;
}

void occupy(const std::string& path) {
    std::filesystem::create_directory(path);
}

void putOnInput(const std::string& text) {
    const auto [reading, writing] = makePipe();
    require(_write(writing, text.data(), static_cast<unsigned>(text.size())) > 0 && _dup2(reading, 0) == 0);
    _close(reading);
    _close(writing);
    FreeConsole();
}

size_t leftOnInput() {
    DWORD left = 0;
    require(PeekNamedPipe(reinterpret_cast<HANDLE>(_get_osfhandle(0)), nullptr, 0, nullptr, &left, nullptr));
    return left;
}

std::pair<size_t, size_t> inUse() {
    DWORD handles = 0;
    require(GetProcessHandleCount(GetCurrentProcess(), &handles));
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    size_t allocated = 0;
    PROCESS_HEAP_ENTRY entry = {};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
        allocated += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    HeapUnlock(heap);
    return {handles, allocated};
}

Pipe::Pipe(const std::string& name) : path(pipeName(name)), m_handle(newEnd(path)) {}

Pipe::~Pipe() {
    CloseHandle(m_handle);
}

void Pipe::write(const std::string& bytes) {
    ConnectNamedPipe(m_handle, nullptr); // fails where the reader has come first
    for (size_t at = 0; at < bytes.size(); at += 100) {
        DWORD count = 0;
        WriteFile(m_handle, bytes.data() + at, static_cast<DWORD>(std::min<size_t>(100, bytes.size() - at)), &count,
                  nullptr);
    }
    FlushFileBuffers(m_handle); // until all has been read: what has not would be lost
    CloseHandle(std::exchange(m_handle, newEnd(path)));
}

struct Interruptions::Thread {};
Interruptions::Interruptions() = default;
Interruptions::~Interruptions() = default;

bool Interruptions::haveWorked() {
    return true;
}

void blockPipeSignal() {}

bool connectDirectly(int (&/*ends*/)[2]) {
    return false;
}

std::pair<bool, bool> awaitInput(int first, int second) {
    WSAPOLLFD ends[] = {{static_cast<SOCKET>(first), POLLRDNORM, 0}, {static_cast<SOCKET>(second), POLLRDNORM, 0}};
    return WSAPoll(ends, 2, -1) > 0 ? std::pair(ends[0].revents != 0, ends[1].revents != 0) : std::pair(false, false);
}

void endBothWays(int socket) {
    shutdown(static_cast<SOCKET>(socket), SD_BOTH);
}

void resetOnClose(int socket) {
    const linger none = {1, 0};
    setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&none), sizeof none);
}

bool isBlocking(int socket) {
    const DWORD milliseconds = 1;
    char byte = 0;
    setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&milliseconds),
               sizeof milliseconds);
    return recv(static_cast<SOCKET>(socket), &byte, 1, MSG_PEEK) < 0 && WSAGetLastError() == WSAETIMEDOUT;
}

int underHighNumber(int socket) {
    WSAPROTOCOL_INFOW info;
    require(WSADuplicateSocketW(static_cast<SOCKET>(socket), GetCurrentProcessId(), &info) == 0);
    SOCKET last = INVALID_SOCKET;
    for (int i = 0; i < 500 && (last == INVALID_SOCKET || last < 2000); ++i) {
        last = WSASocketW(FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, &info, 0, 0);
    }
    return static_cast<int>(last);
}

} // namespace testlib
