// Process, folder and FastCGI helpers of the host tests.
#include "host_test_util.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace hosttest {

namespace {

[[noreturn]] void execChild(const std::vector<std::string>& argv, const EnvList& env) {
    for (const auto& kv : env) setenv(kv.first.c_str(), kv.second.c_str(), 1);
    int devnull = open("/dev/null", O_RDONLY);
    if (devnull >= 0) dup2(devnull, 0);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
}

void decodeStatus(int status, RunResult& r) {
    if (WIFEXITED(status)) r.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) r.termSignal = WTERMSIG(status);
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// FastCGI record: version 1, type, request id 1, content, no padding.
std::string fcgiRecord(unsigned char type, const std::string& content) {
    std::string r;
    r += static_cast<char>(1);
    r += static_cast<char>(type);
    r += '\0';
    r += static_cast<char>(1);
    r += static_cast<char>((content.size() >> 8) & 0xff);
    r += static_cast<char>(content.size() & 0xff);
    r += '\0';
    r += '\0';
    return r + content;
}

void appendLength(std::string& out, size_t n) {
    if (n < 128) {
        out += static_cast<char>(n);
        return;
    }
    out += static_cast<char>(((n >> 24) & 0x7f) | 0x80);
    out += static_cast<char>((n >> 16) & 0xff);
    out += static_cast<char>((n >> 8) & 0xff);
    out += static_cast<char>(n & 0xff);
}

}  // namespace

std::string fcgiMessage(const EnvList& params, const std::string& body) {
    const unsigned char kBegin = 1, kParams = 4, kStdin = 5;
    std::string begin("\0\1\0\0\0\0\0\0", 8);  // role responder, no keep-alive
    std::string msg = fcgiRecord(kBegin, begin);
    std::string pairs;
    for (const auto& kv : params) {
        appendLength(pairs, kv.first.size());
        appendLength(pairs, kv.second.size());
        pairs += kv.first + kv.second;
    }
    msg += fcgiRecord(kParams, pairs) + fcgiRecord(kParams, "");
    for (size_t at = 0; at < body.size(); at += 60000)
        msg += fcgiRecord(kStdin, body.substr(at, 60000));
    return msg + fcgiRecord(kStdin, "");
}

namespace {

// Concatenated content of the stdout records of a responder's reply.
std::string fcgiStdout(const std::string& reply) {
    std::string out;
    size_t at = 0;
    while (at + 8 <= reply.size()) {
        unsigned char type = static_cast<unsigned char>(reply[at + 1]);
        size_t len = (static_cast<unsigned char>(reply[at + 4]) << 8) |
                     static_cast<unsigned char>(reply[at + 5]);
        size_t pad = static_cast<unsigned char>(reply[at + 6]);
        if (type == 6) out += reply.substr(at + 8, len);
        at += 8 + len + pad;
    }
    return out;
}

}  // namespace

std::string readAll(int fd) {
    std::string data;
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        data.append(buf, static_cast<size_t>(n));
    }
    return data;
}

RunResult runProgram(const std::vector<std::string>& argv, const EnvList& env) {
    int outPipe[2], errPipe[2];
    RunResult r;
    if (pipe(outPipe) != 0 || pipe(errPipe) != 0) return r;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(outPipe[1], 1);
        dup2(errPipe[1], 2);
        // Only 1 and 2 may hold the pipes: a daemon that the program starts
        // closes those, and the pipes must then reach end of file.
        for (int fd : {outPipe[0], outPipe[1], errPipe[0], errPipe[1]}) close(fd);
        execChild(argv, env);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    // Both pipes are drained together so a chatty child cannot block.
    struct pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    int openCount = 2;
    char buf[4096];
    while (openCount > 0 && poll(fds, 2, -1) > 0) {
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) {
                (i == 0 ? r.out : r.err).append(buf, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --openCount;
            }
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    decodeStatus(status, r);
    return r;
}

Child startProgram(const std::vector<std::string>& argv, const EnvList& env) {
    Child c;
    int errPipe[2];
    if (pipe(errPipe) != 0) return c;
    c.pid = fork();
    if (c.pid == 0) {
        dup2(errPipe[1], 2);
        int devnull = open("/dev/null", O_WRONLY);
        if (devnull >= 0) dup2(devnull, 1);
        close(errPipe[0]);
        execChild(argv, env);
    }
    close(errPipe[1]);
    c.errFd = errPipe[0];
    return c;
}

bool Child::waitForText(const std::string& text, size_t from) {
    char buf[1024];
    while (err.find(text, from) == std::string::npos) {
        ssize_t n = read(errFd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        err.append(buf, static_cast<size_t>(n));
    }
    return true;
}

int Child::finish() {
    err += readAll(errFd);
    close(errFd);
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

int fcgiSend(const std::string& socketPath, const std::string& bytes) {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    struct sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, socketPath.c_str(), sizeof addr.sun_path - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || !writeAll(fd, bytes)) {
        close(fd);
        return -1;
    }
    return fd;
}

std::string fcgiRequest(const std::string& socketPath, const EnvList& params,
                        const std::string& body, bool& ok) {
    ok = false;
    int fd = fcgiSend(socketPath, fcgiMessage(params, body));
    if (fd < 0) return "";
    std::string reply = readAll(fd);
    close(fd);
    ok = true;
    return fcgiStdout(reply);
}

}  // namespace hosttest
