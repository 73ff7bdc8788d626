#ifndef CMNCRYPTO_TESTLIB_PLATFORM_H
#define CMNCRYPTO_TESTLIB_PLATFORM_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/** What each system does in its own way. Sockets go by their numbers, as the library is told them. */
namespace testlib {

extern const char* const emptyDevice;  ///< a file that is always there and empty
extern const bool foldersOpen;         ///< whether a folder opens as a file does, and only reading fails
extern const bool posixNames;          ///< symbolic links, backslashes in names, and names that differ in case only
extern const bool sortsStably;         ///< qsort(), and so OpenSSL, leaves what is equal in its order
extern const char* const textReturn;   ///< what text mode leaves of the first half of a line's end in CR LF
extern const char* const moduleSuffix; ///< of the file names of OpenSSL's providers
extern const int pipeSignal;           ///< raised by writing to who has gone; where none is, any

void setEnvironment(const std::string& name, const std::string& value);
/** Ends the process after some time. */
void endAfter(unsigned seconds);
bool hasAborted(int status); ///< for EXPECT_EXIT
/** Fails to create larger files, for good. @return false where there is no such limit */
bool limitFileSize(size_t size);
/** @return a file to write to that takes nothing */
std::FILE* openFull();
/** @return what a script for the shell puts out, nothing where there is no shell */
std::optional<std::string> outputOf(const std::string& script);
/** Makes something that is in the way of a new file, by a symbolic link to nothing where these are. */
void occupy(const std::string& path);
/** Takes the terminal away and puts a text on standard input. For good. */
void putOnInput(const std::string& text);
size_t leftOnInput();

/** @return the files and sockets that are open, and the bytes that are allocated */
std::pair<size_t, size_t> inUse();

/** Something with a name in the file system that gives its bytes once. */
class Pipe {
public:
    explicit Pipe(const std::string& name);
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void write(const std::string& bytes); ///< in small pieces, to one reader
    std::string path;

private:
    [[maybe_unused]] void* m_handle = nullptr;
};

/** Interrupts the calls of the thread that makes it, all the time; where there are no signals, it does nothing. */
class Interruptions {
public:
    Interruptions();
    ~Interruptions();
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    static bool haveWorked();

private:
    struct Thread;
    std::unique_ptr<Thread> m_thread;
};
void blockPipeSignal(); ///< for the calling thread

/** Connects two sockets in a way that is no network. @return false where there is none */
bool connectDirectly(int (&ends)[2]);
/** Waits until one of two sockets can be read, or has ended. @return which */
std::pair<bool, bool> awaitInput(int first, int second);
void endBothWays(int socket);
void resetOnClose(int socket);
bool isBlocking(int socket);     ///< to be asked while nothing has arrived
int underHighNumber(int socket); ///< @return another number of it, above those that select() can do

} // namespace testlib

#endif
