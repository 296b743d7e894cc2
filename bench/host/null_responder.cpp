// Null FastCGI responder for the host benchmark: the same libfcgi accept loop
// as the gateway, but no SOAP engine. It drains the request body and answers
// a fixed envelope of about the size of a locale reply, so that the gateway's
// rate can be set against the cost of nginx + FastCGI alone.
#include <fcgiapp.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

volatile std::sig_atomic_t stopRequested = 0;

// libfcgi retries an interrupted accept() unless it was told to shut down.
void onTerm(int) {
    stopRequested = 1;
    FCGX_ShutdownPending();
}

const char kReply[] =
    "Status: 200 OK\r\n"
    "Content-Type: text/xml; charset=utf-8\r\n\r\n"
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\">"
    "<SOAP-ENV:Body><getDefaultLocaleResponse><getDefaultLocaleResult>en-US"
    "</getDefaultLocaleResult></getDefaultLocaleResponse></SOAP-ENV:Body>"
    "</SOAP-ENV:Envelope>\n";

// Reads the whole request body; the reply only goes out once it is consumed,
// as the gateway's does.
void drain(FCGX_Stream* in) {
    char buf[4096];
    while (FCGX_GetStr(buf, sizeof buf, in) > 0) {
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SOCKET_PATH\n", argv[0]);
        return 2;
    }
    struct sigaction sa;
    std::memset(&sa, 0, sizeof sa);
    sa.sa_handler = onTerm;  // no SA_RESTART: accept() returns on SIGTERM
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);

    if (FCGX_Init() != 0) {
        std::fprintf(stderr, "FCGX_Init failed\n");
        return 1;
    }
    int fd = FCGX_OpenSocket(argv[1], 64);
    if (fd < 0) {
        std::fprintf(stderr, "cannot listen on %s\n", argv[1]);
        return 1;
    }
    FCGX_Request req;
    FCGX_InitRequest(&req, fd, 0);
    while (!stopRequested && FCGX_Accept_r(&req) >= 0) {
        drain(req.in);
        FCGX_PutStr(kReply, sizeof kReply - 1, req.out);
        FCGX_Finish_r(&req);
    }
    FCGX_Free(&req, 1);
    return 0;
}
