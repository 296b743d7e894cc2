// Per-message cost of the SOAP runtime on one reused engine, in process (no
// FastCGI, no nginx): the host's sequence soap_begin, begin_recv, envelope,
// header, body, soap_serve_request, soap_end for one getDefaultLocale
// request, under several engine modes, measured in one run as process CPU
// time per message. Tells how much of the gateway's per-message CPU is the
// runtime's own book-keeping and which engine settings change it.
//
//   bench_engine_modes [MESSAGES]     (default 200000 per mode)
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "soapH.h"

namespace {

const char kRequest[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:nsc1=\"http://device-ws.example.com/Corvane\"><SOAP-ENV:Body>"
    "<nsc1:getDefaultLocale><nsc1:options></nsc1:options></nsc1:getDefaultLocale>"
    "</SOAP-ENV:Body></SOAP-ENV:Envelope>";

// In-memory transport: every message reads kRequest from the start and the
// reply is counted, then dropped.
struct Wire {
    size_t pos = 0;
    size_t sent = 0;
};

size_t memRecv(struct soap* soap, char* buf, size_t len) {
    Wire* w = static_cast<Wire*>(soap->user);
    size_t left = sizeof kRequest - 1 - w->pos;
    size_t n = len < left ? len : left;
    std::memcpy(buf, kRequest + w->pos, n);
    w->pos += n;
    return n;
}

int memSend(struct soap* soap, const char*, size_t len) {
    static_cast<Wire*>(soap->user)->sent += len;
    return SOAP_OK;
}

double cpuSeconds() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec + ts.tv_nsec * 1e-9;
}

// One request, as the host serves it; returns the engine's error. Without
// `begin`, the explicit soap_begin() is left out: soap_begin_recv() starts
// with the same reset of the engine's per-message tables.
int serveOne(struct soap* soap, Wire& wire, bool begin) {
    wire.pos = 0;
    if (begin) soap_begin(soap);
    int err = soap_begin_recv(soap);
    if (err == SOAP_OK && !soap_envelope_begin_in(soap) && !soap_recv_header(soap) &&
        !soap_body_begin_in(soap)) {
        err = soap_serve_request(soap);
    } else {
        err = soap->error;
    }
    soap_destroy(soap);
    soap_end(soap);
    return err;
}

struct Mode {
    const char* name;
    soap_mode mode;
    bool begin;
};

}  // namespace

int main(int argc, char** argv) {
    long count = argc > 1 ? std::atol(argv[1]) : 200000;
    if (count <= 0) return 2;
    const std::vector<Mode> modes = {
        {"default modes", 0, true},
        {"SOAP_XML_TREE", SOAP_XML_TREE, true},
        {"SOAP_XML_TREE|SOAP_XML_NOTYPE", SOAP_XML_TREE | SOAP_XML_NOTYPE, true},
        {"SOAP_XML_STRICT", SOAP_XML_STRICT, true},
        {"default, no explicit soap_begin", 0, false},
        {"default modes (again)", 0, true},
    };
    std::printf("%-32s %12s %12s %10s\n", "engine mode", "us/message", "messages/s", "reply B");
    for (const Mode& m : modes) {
        Wire wire;
        struct soap* soap = soap_new1(m.mode);
        soap->user = &wire;
        soap->frecv = memRecv;
        soap->fsend = memSend;
        for (int i = 0; i < 1000; ++i) serveOne(soap, wire, m.begin);  // warm-up
        wire.sent = 0;
        double t0 = cpuSeconds();
        for (long i = 0; i < count; ++i) {
            if (serveOne(soap, wire, m.begin) != SOAP_OK) {
                std::fprintf(stderr, "%s: request failed: %d\n", m.name, soap->error);
                return 1;
            }
        }
        double secs = cpuSeconds() - t0;
        std::printf("%-32s %12.2f %12.0f %10zu\n", m.name, secs * 1e6 / count, count / secs,
                    wire.sent / count);
        soap_free(soap);
    }
    return 0;
}
