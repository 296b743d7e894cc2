// Keep-alive HTTP/1.1 load generator for the host benchmark: POSTs one body
// to one URL over a few loopback connections until a request count or a time
// bound is reached, and prints the completed rate. Loopback only, one thread,
// poll() over the connections.
//
//   loadgen PORT PATH USER:PASSWORD BODY_FILE COUNT MAX_SECONDS [CONNECTIONS]
//
// Output: one line "requests=N ok=N failed=N seconds=S rate=R".
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string base64(const std::string& in) {
    static const char* tbl = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 2 < in.size(); i += 3) {
        unsigned v =
            (unsigned char)in[i] << 16 | (unsigned char)in[i + 1] << 8 | (unsigned char)in[i + 2];
        out += tbl[v >> 18 & 63];
        out += tbl[v >> 12 & 63];
        out += tbl[v >> 6 & 63];
        out += tbl[v & 63];
    }
    if (i + 1 == in.size()) {
        unsigned v = (unsigned char)in[i] << 16;
        out += tbl[v >> 18 & 63];
        out += tbl[v >> 12 & 63];
        out += "==";
    } else if (i + 2 == in.size()) {
        unsigned v = (unsigned char)in[i] << 16 | (unsigned char)in[i + 1] << 8;
        out += tbl[v >> 18 & 63];
        out += tbl[v >> 12 & 63];
        out += tbl[v >> 6 & 63];
        out += '=';
    }
    return out;
}

// Result of scanning a response buffer: 0 = incomplete, -1 = malformed,
// else the number of bytes the complete response occupies.
struct Parsed {
    long length = 0;
    int status = 0;
};

// Finds the end of a chunked body starting at `pos`; -1 if incomplete or bad.
long chunkedEnd(const std::string& buf, size_t pos) {
    for (;;) {
        size_t eol = buf.find("\r\n", pos);
        if (eol == std::string::npos) return 0;
        char* end = nullptr;
        unsigned long size = std::strtoul(buf.c_str() + pos, &end, 16);
        if (end == buf.c_str() + pos) return -1;
        pos = eol + 2;
        if (size == 0) {
            size_t fin = buf.find("\r\n", pos);  // no trailers expected
            return fin == std::string::npos ? 0 : (long)(fin + 2);
        }
        if (buf.size() < pos + size + 2) return 0;
        pos += size + 2;
    }
}

Parsed parseResponse(const std::string& buf) {
    Parsed p;
    size_t hdrEnd = buf.find("\r\n\r\n");
    if (hdrEnd == std::string::npos) return p;
    if (buf.compare(0, 9, "HTTP/1.1 ") != 0) {
        p.length = -1;
        return p;
    }
    p.status = std::atoi(buf.c_str() + 9);
    std::string head = buf.substr(0, hdrEnd);
    for (auto& c : head) c = (char)std::tolower((unsigned char)c);
    size_t bodyStart = hdrEnd + 4;
    size_t cl = head.find("\r\ncontent-length:");
    if (cl != std::string::npos) {
        long n = std::atol(head.c_str() + cl + 17);
        p.length = buf.size() >= bodyStart + n ? (long)(bodyStart + n) : 0;
    } else if (head.find("\r\ntransfer-encoding: chunked") != std::string::npos) {
        p.length = chunkedEnd(buf, bodyStart);
    } else {
        p.length = -1;
    }
    return p;
}

struct Conn {
    int fd = -1;
    std::string in;
    size_t sent = 0;
    bool busy = false;
};

int connectTo(int port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons((uint16_t)port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, (sockaddr*)&a, sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 7) {
        std::fprintf(stderr,
                     "usage: %s PORT PATH USER:PASSWORD BODY_FILE COUNT MAX_SECONDS "
                     "[CONNECTIONS]\n",
                     argv[0]);
        return 2;
    }
    int port = std::atoi(argv[1]);
    std::string path = argv[2];
    std::ifstream bodyFile(argv[4], std::ios::binary);
    if (!bodyFile) {
        std::fprintf(stderr, "cannot read %s\n", argv[4]);
        return 2;
    }
    std::stringstream ss;
    ss << bodyFile.rdbuf();
    std::string body = ss.str();
    long count = std::atol(argv[5]);
    double maxSeconds = std::atof(argv[6]);
    int nconn = argc > 7 ? std::atoi(argv[7]) : 2;
    if (count <= 0 || maxSeconds <= 0 || nconn <= 0) return 2;

    std::string req = "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + argv[1] +
                      "\r\nAuthorization: Basic " + base64(argv[3]) +
                      "\r\nContent-Type: text/xml; charset=utf-8\r\nSOAPAction: \"\"" +
                      "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;

    std::vector<Conn> conns(nconn);
    for (auto& c : conns) {
        c.fd = connectTo(port);
        if (c.fd < 0) {
            std::perror("connect");
            return 1;
        }
    }
    long issued = 0, done = 0, ok = 0, failed = 0;
    auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    std::vector<pollfd> pfds(nconn);
    char buf[16384];
    while (done < issued || (issued < count && elapsed() < maxSeconds)) {
        for (int i = 0; i < nconn; ++i) {
            Conn& c = conns[i];
            if (!c.busy && issued < count && elapsed() < maxSeconds) {
                c.busy = true;
                c.sent = 0;
                c.in.clear();
                ++issued;
            }
            pfds[i].fd = c.fd;
            pfds[i].events = c.busy ? (c.sent < req.size() ? POLLOUT : POLLIN) : 0;
            pfds[i].revents = 0;
        }
        if (poll(pfds.data(), nconn, 30000) <= 0) {
            std::fprintf(stderr, "no progress for 30 s\n");
            return 1;
        }
        for (int i = 0; i < nconn; ++i) {
            Conn& c = conns[i];
            if (pfds[i].revents & POLLOUT) {
                ssize_t n = send(c.fd, req.data() + c.sent, req.size() - c.sent, MSG_NOSIGNAL);
                if (n < 0) return std::perror("send"), 1;
                c.sent += (size_t)n;
            } else if (pfds[i].revents & (POLLIN | POLLHUP | POLLERR)) {
                ssize_t n = recv(c.fd, buf, sizeof buf, 0);
                if (n <= 0) return std::fprintf(stderr, "connection closed by server\n"), 1;
                c.in.append(buf, (size_t)n);
                Parsed p = parseResponse(c.in);
                if (p.length < 0) return std::fprintf(stderr, "malformed response\n"), 1;
                if (p.length > 0) {
                    ++done;
                    (p.status == 200 ? ok : failed)++;
                    c.busy = false;
                }
            }
        }
    }
    double secs = elapsed();
    for (auto& c : conns) close(c.fd);
    std::printf("requests=%ld ok=%ld failed=%ld seconds=%.3f rate=%.1f\n", done, ok, failed, secs,
                secs > 0 ? done / secs : 0.0);
    return failed == 0 ? 0 : 3;
}
