// The FastCGI request loop: one request at a time from accept to finish on
// one SOAP engine whose byte transport is the current request's streams,
// then the registry update, then (when due) the connection sweep.
#include <fcgiapp.h>
#include <sys/select.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "qel_time.h"
#include "soapH.h"
#include "ws_assert.h"
#include "wsbridge_host.h"

namespace {

const char kDefaultSocket[] = "/tmp/wsbridge.socket";
const int kBacklog = 64;
const int kListenFd = 0;  // tk_fcgi_bind always moves the socket here
const size_t kParamSize = 64;

global_data_t* recordOf(struct soap* soap)
{
    return static_cast<global_data_t*>(soap->user);
}

// Copies the FastCGI parameter `name` into `buf` and exports it to the
// environment for the duration of the request (CPath's authorisation and
// the write-source texts read it from there).
void captureParam(FCGX_Request& request, const char* name, const char* error, char* buf)
{
    const char* value = FCGX_GetParam(name, request.envp);
    if (value == nullptr || setenv(name, value, 1) != 0) {
        std::perror(error);
        return;
    }
    std::strncpy(buf, value, kParamSize);
}

// Runs the parse and dispatch stages; non-zero: the engine's error is set.
int dispatch(struct soap* soap)
{
    if (soap_envelope_begin_in(soap) || soap_recv_header(soap) || soap_body_begin_in(soap) ||
        soap_serve_request(soap))
        return soap->error;
    if (soap->fserveloop != nullptr && soap->fserveloop(soap) != 0) return soap->error;
    return SOAP_OK;
}

// One accepted request: parameters, processing, finish, registry.
void serveOne(struct soap* soap, global_data_t* glptr, FCGX_Request& request, bool firstRequest)
{
    // One spare byte keeps a 64-byte value terminated.
    char user[kParamSize + 1];
    char address[kParamSize + 1];
    std::memset(user, 0, sizeof user);
    std::memset(address, 0, sizeof address);
    captureParam(request, "REMOTE_USER", "Failed to get REMOTE_USER", user);
    captureParam(request, "REMOTE_ADDR", "Failed to get REMOTE_ADDR", address);
    const char* https = FCGX_GetParam("HTTPS", request.envp);
    bool isHttps = https != nullptr && std::strcmp(https, "on") == 0;

    soap_process(soap, firstRequest);

    unsetenv("REMOTE_USER");
    unsetenv("REMOTE_ADDR");
    FCGX_Finish_r(&request);
    // Only after the reply is finished: registry work never delays a reply.
    AddUpdateConnectionMap(glptr, address, user, isHttps);
}

}  // namespace

std::string wsbridge_socket_path()
{
    const char* path = std::getenv("WSBRIDGE_SOCKET");
    return (path != nullptr && path[0] != '\0') ? path : kDefaultSocket;
}

int tk_fcgi_bind(const std::string& path, int backlog)
{
    WS_ASSERT(!path.empty(), WS_HOST_MODULE);
    int fd = FCGX_OpenSocket(path.c_str(), backlog);
    if (fd == -1) return -1;
    if (fd != kListenFd) {
        close(kListenFd);
        dup2(fd, kListenFd);
        close(fd);
    }
    std::fprintf(stderr, "FCGI app listening at socket %s [%d] \n", path.c_str(), kListenFd);
    return 0;
}

size_t myrecv(struct soap* soap, char* buf, size_t len)
{
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr->pReq != NULL, WS_HOST_MODULE);
    WS_ASSERT(glptr->pReq->in != NULL, WS_HOST_MODULE);
    if (buf == nullptr || len == 0) return 0;
    int got = FCGX_GetStr(buf, static_cast<int>(len), glptr->pReq->in);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

int mysend(struct soap* soap, const char* buf, size_t len)
{
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr->pReq != NULL, WS_HOST_MODULE);
    WS_ASSERT(glptr->pReq->out != NULL, WS_HOST_MODULE);
    if (buf == nullptr) return -1;
    if (FCGX_PutStr(buf, static_cast<int>(len), glptr->pReq->out) < 0) return -1;
    return SOAP_OK;
}

// Every stage is guarded: whatever the client sends ends in a reply or, for
// the runtime's end-of-stream codes (>= SOAP_STOP), in no reply at all.
int soap_process(struct soap* soap, bool)
{
    soap_begin(soap);
    if (soap_begin_recv(soap) != SOAP_OK) {
        if (soap->error < SOAP_STOP) soap_send_fault(soap);
        soap_closesock(soap);
        return 0;
    }
    try {
        if (dispatch(soap) != SOAP_OK) {
            // The runtime's own fault text completes the line.
            std::fputs("Failed in soap processing; ", stderr);
            soap_print_fault(soap, stderr);
            soap_send_fault(soap);
        }
    } catch (const std::exception& e) {
        std::fputs("Exception in soap_serve processing: ", stderr);
        std::fprintf(stderr, "%s \n", e.what());
        soap_send_fault(soap);
    }
    soap_delete(soap, NULL);
    soap_end(soap);
    return 0;
}

int soap_serve(struct soap* soap)
{
    global_data_t* glptr = recordOf(soap);
    if (FCGX_Init() < 0) return -1;
    int rc = tk_fcgi_bind(wsbridge_socket_path(), kBacklog);
    if (rc < 0) return rc;

    FCGX_Request request;
    FCGX_InitRequest(&request, kListenFd, 0);
    soap->frecv = myrecv;
    soap->fsend = mysend;
    glptr->pReq = &request;

    uint32_t lastSweep = qel_GetMonoTime(NULL);
    glptr->nextTimerTime = static_cast<int32_t>(lastSweep + 60);
    struct timeval timeout = {5, 0};
    bool firstRequest = true;
    // Never cleared: select itself clears the bit when nothing is ready.
    fd_set readSet;
    FD_ZERO(&readSet);

    while (!__signal_exit) {
        FD_SET(kListenFd, &readSet);
        // Interrupted (a signal): straight to the flag test, no sweep check.
        if (select(kListenFd + 1, &readSet, NULL, NULL, &timeout) < 0) continue;
        if (FD_ISSET(kListenFd, &readSet)) {
            glptr->pReq = &request;
            if (FCGX_Accept_r(&request) < 0) {
                // A termination signal that arrives while libfcgi waits in
                // accept (a client that connected and left without a record)
                // makes the accept fail on purpose: that is an ordinary stop.
                if (__signal_exit) break;
                std::fputs("Error in Accept(), exiting now...\n", stderr);
                soap->error = -1;
                // A failed accept leaves no output stream; the fault can only
                // be written when there is one (mysend asserts on it).
                int result = request.out != NULL ? soap_send_fault(soap) : -1;
                FCGX_Free(&request, 1);
                return result;
            }
            serveOne(soap, glptr, request, firstRequest);
            firstRequest = false;
        }
        // Linux select leaves the remaining time in `timeout`: 0 means it
        // timed out. Under steady traffic the 5 s rule still sweeps.
        uint32_t now = qel_GetMonoTime(NULL);
        if ((timeout.tv_sec == 0 && timeout.tv_usec == 0) || now - lastSweep > 5) {
            timeout.tv_sec = 5;
            timeout.tv_usec = 0;
            timer_task(glptr);
            lastSweep = now;
        }
    }
    std::fputs("Caught term signal, exiting soap_serve loop now...\n", stderr);
    FCGX_Free(&request, 1);
    return 0;
}
