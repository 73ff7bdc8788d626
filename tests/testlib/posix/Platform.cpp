#include "testlib/Platform.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace testlib {

namespace {

std::atomic<int> signals;

void require(bool done) {
    if (!done) {
        throw std::runtime_error("the test could not make what it needs");
    }
}

} // namespace

const char* const emptyDevice = "/dev/null";
const bool foldersOpen = true;
const bool posixNames = true;
const bool sortsStably = true;
const char* const textReturn = "\r";
const char* const moduleSuffix = ".so";
const int pipeSignal = SIGPIPE;

void setEnvironment(const std::string& name, const std::string& value) {
    setenv(name.c_str(), value.c_str(), 1);
}

void endAfter(unsigned seconds) {
    alarm(seconds);
}

bool hasAborted(int status) {
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

bool limitFileSize(size_t size) {
    const rlimit limit = {size, size};
    return std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

std::FILE* openFull() {
    return std::fopen("/dev/full", "w");
}

std::optional<std::string> outputOf(const std::string& script) {
    std::string output;
    std::FILE* const shell = popen(("sh " + script).c_str(), "r"); // NOLINT(cert-env33-c)
    for (int next = std::fgetc(shell); next != EOF; next = std::fgetc(shell)) {
        output += static_cast<char>(next);
    }
    require(pclose(shell) == 0);
    return output;
}

void occupy(const std::string& path) {
    std::filesystem::create_symlink(path + "-target", path);
}

void putOnInput(const std::string& text) {
    int ends[2];
    require(pipe(ends) == 0 && ::write(ends[1], text.data(), text.size()) > 0 && dup2(ends[0], 0) == 0);
    close(ends[0]);
    close(ends[1]);
    setsid();
}

size_t leftOnInput() {
    int left = 0;
    require(ioctl(0, FIONREAD, &left) == 0);
    return static_cast<size_t>(left);
}

std::pair<size_t, size_t> inUse() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return {std::distance(begin(open), end(open)), mallinfo2().uordblks};
}

Pipe::Pipe(const std::string& name) : path(name) {
    require(mkfifo(path.c_str(), 0600) == 0);
}

Pipe::~Pipe() = default;

void Pipe::write(const std::string& bytes) { // NOLINT(readability-make-member-function-const)
    std::ofstream pipe(path);
    for (size_t at = 0; at < bytes.size(); at += 100) {
        pipe << bytes.substr(at, 100) << std::flush;
    }
}

struct Interruptions::Thread {
    std::atomic<bool> over{false};
    std::thread thread;
};

Interruptions::Interruptions() : m_thread(std::make_unique<Thread>()) {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; }; // ends the system's calls
    sigaction(SIGUSR1, &action, nullptr);
    m_thread->thread = std::thread([&over = m_thread->over, self = pthread_self()] {
        for (; !over; usleep(200)) {
            pthread_kill(self, SIGUSR1);
        }
    });
}

Interruptions::~Interruptions() {
    m_thread->over = true;
    m_thread->thread.join();
}

bool Interruptions::haveWorked() {
    return signals > 0;
}

void blockPipeSignal() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

bool connectDirectly(int (&ends)[2]) {
    return socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0;
}

std::pair<bool, bool> awaitInput(int first, int second) {
    pollfd ends[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
    return poll(ends, 2, -1) > 0 ? std::pair(ends[0].revents != 0, ends[1].revents != 0) : std::pair(false, false);
}

void endBothWays(int socket) {
    shutdown(socket, SHUT_RDWR);
}

void resetOnClose(int socket) {
    const linger none = {1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

bool isBlocking(int socket) {
    return (fcntl(socket, F_GETFL) & O_NONBLOCK) == 0;
}

int underHighNumber(int socket) {
    const rlimit many = {3000, 3000};
    setrlimit(RLIMIT_NOFILE, &many);
    return dup2(socket, 2500);
}

} // namespace testlib
