// Reads the system log's socket so that its writers need not wait, until its standard input ends, ten minutes at most,
// and tells how many lines came: bench_logreader PATH.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kSeconds = 600;

int listenAt(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, path, std::strlen(path) + 1);
    unlink(path);
    const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
    return bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? log : -1;
}

/** Takes what is there. */
std::size_t drain(int log) {
    std::array<char, 4096> line{};
    std::size_t lines = 0;
    while (recv(log, line.data(), line.size(), MSG_DONTWAIT) >= 0) ++lines;
    return lines;
}

}  // namespace

int main(int argc, char** argv) {
    const int log = argc == 2 ? listenAt(argv[1]) : -1;
    if (log < 0) {
        std::fprintf(stderr, "bench_logreader: no socket for lines can be had\n");
        return 1;
    }
    alarm(kSeconds);
    std::puts("ready");
    std::fflush(stdout);
    std::size_t lines = 0;
    std::array<pollfd, 2> wanted = {pollfd{log, POLLIN, 0}, pollfd{STDIN_FILENO, POLLIN, 0}};
    while (poll(wanted.data(), wanted.size(), -1) > 0) {
        lines += drain(log);
        if (wanted[1].revents != 0) break;
    }
    std::printf("%zu\n", lines);
    return 0;
}
