#include "detach.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void waitFor(pid_t child, int pipe)
{
    char byte = 0;
    int status = 0;
    if (::read(pipe, &byte, sizeof byte) == 1)
        ::_exit(0);
    ::waitpid(child, &status, 0);
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

} // namespace

Detachment::Detachment(int argc, char *argv[])
{
    int ends[2] = {-1, -1};
    bool isAsked = false;
    for (int i = 1; i < argc; ++i)
        isAsked = isAsked || std::strcmp(argv[i], "--detach") == 0;
    if (!isAsked || ::pipe2(ends, O_CLOEXEC) != 0)
        return;
    const pid_t child = ::fork();
    if (child > 0) {
        ::close(ends[1]);
        waitFor(child, ends[0]);
    }
    ::close(ends[0]);
    ::setsid();
    m_pipe = ends[1];
}

void Detachment::complete() const
{
    if (m_pipe < 0)
        return;
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nowhere, stream);
    ::close(nowhere);
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(m_pipe, &byte, sizeof byte);
    ::close(m_pipe);
}
