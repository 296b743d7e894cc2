// The FastCGI request loop: one request at a time from accept to finish on
// one SOAP engine whose byte transport is the current request's streams,
// then the registry update, then (when due) the connection sweep.
#include <fcgiapp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_handler.h"
#include "wsbridge_host.h"

namespace {

const char kDefaultSocket[] = "/tmp/wsbridge.socket";
const int kBacklog = 64;
const int kListenFd = 0;  // tk_fcgi_bind always moves the socket here
const size_t kParamSize = 64;
// A body this large leaves its buffer's capacity behind; anything larger is
// given back after the request, so memory stays flat.
const size_t kKeptBodyCapacity = 1u << 20;

// Copies the FastCGI parameter `name` into `buf` and exports it to the
// environment for the duration of the request (CPath's authorisation and
// the write-source texts read it from there).
void captureParam(FCGX_Request& request, const char* name, const char* error, char* buf) {
    const char* value = FCGX_GetParam(name, request.envp);
    if (value == nullptr || setenv(name, value, 1) != 0) {
        std::perror(error);
        return;
    }
    std::strncpy(buf, value, kParamSize);
}

// Runs the parse and dispatch stages; non-zero: the engine's error is set.
int dispatch(struct soap* soap) {
    if (soap_envelope_begin_in(soap) || soap_recv_header(soap) || soap_body_begin_in(soap) ||
        soap_serve_request(soap))
        return soap->error;
    if (soap->fserveloop != nullptr && soap->fserveloop(soap) != 0) return soap->error;
    return SOAP_OK;
}

// One accepted request: parameters, body, processing, finish, registry. A
// body that does not arrive complete within the deadline is dropped without
// a reply (nobody is listening for one).
void serveOne(struct soap* soap, global_data_t* glptr, FCGX_Request& request, bool firstRequest) {
    request_read_t read = readRequestBody(request, glptr->requestBody);
    armRequestDeadline(false);
    if (read == REQUEST_INCOMPLETE) {
        std::fprintf(stderr, "Dropped a FastCGI request not complete within %d s \n",
                     kRequestSeconds);
        FCGX_Finish_r(&request);
        if (request.ipcFd >= 0) FCGX_Free(&request, 1);
        return;
    }
    // One spare byte keeps a 64-byte value terminated.
    char user[kParamSize + 1];
    char address[kParamSize + 1];
    std::memset(user, 0, sizeof user);
    std::memset(address, 0, sizeof address);
    captureParam(request, "REMOTE_USER", "Failed to get REMOTE_USER", user);
    captureParam(request, "REMOTE_ADDR", "Failed to get REMOTE_ADDR", address);
    const char* https = FCGX_GetParam("HTTPS", request.envp);
    bool isHttps = https != nullptr && std::strcmp(https, "on") == 0;

    glptr->requestBodyRead = 0;
    std::string refusal =
        read == REQUEST_TOO_LARGE
            ? "The request body is larger than " + std::to_string(kRequestBodyLimit) + " bytes"
            : checkRequestXml(glptr->requestBody);
    if (refusal.empty())
        soap_process(soap, firstRequest);
    else
        sendHostFault(soap, refusal);
    if (glptr->requestBody.capacity() > kKeptBodyCapacity) std::string().swap(glptr->requestBody);

    unsetenv("REMOTE_USER");
    unsetenv("REMOTE_ADDR");
    FCGX_Finish_r(&request);
    // A connection the web server asked to keep is closed all the same:
    // the loop waits on the listening socket only.
    if (request.ipcFd >= 0) FCGX_Free(&request, 1);
    // Only after the reply is finished: registry work never delays a reply.
    AddUpdateConnectionMap(glptr, address, user, isHttps);
}

enum accept_result_t { ACCEPT_OK, ACCEPT_NONE, ACCEPT_DROPPED, ACCEPT_FATAL };

// Accepts the next connection and hands it to libfcgi, which then only reads
// the request from it, within the deadline. libfcgi is never left to accept
// by itself: after a broken connection it would accept the next one inside
// the same call, past the deadline, and drop a good request with it.
accept_result_t acceptRequest(FCGX_Request& request) {
    int fd = accept4(kListenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        // The client went away between select and accept: nothing to serve.
        bool gone = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ||
                    errno == ECONNABORTED || errno == EPROTO;
        return gone ? ACCEPT_NONE : ACCEPT_FATAL;
    }
    request.ipcFd = fd;
    // Finishing the previous request (the call's first step) must not close
    // this connection; the request's own begin record sets the flag anew.
    request.keepConnection = 1;
    armRequestDeadline(true);
    if (FCGX_Accept_r(&request) == 0) return ACCEPT_OK;
    armRequestDeadline(false);
    FCGX_Free(&request, 1);
    return ACCEPT_DROPPED;
}

}  // namespace

std::string wsbridge_socket_path() {
    const char* path = std::getenv("WSBRIDGE_SOCKET");
    return (path != nullptr && path[0] != '\0') ? path : kDefaultSocket;
}

size_t myrecv(struct soap* soap, char* buf, size_t len) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr->pReq != NULL, WS_HOST_MODULE);
    WS_ASSERT(glptr->pReq->in != NULL, WS_HOST_MODULE);
    if (buf == nullptr || len == 0) return 0;
    const std::string& body = glptr->requestBody;
    size_t n = std::min(len, body.size() - std::min(glptr->requestBodyRead, body.size()));
    std::memcpy(buf, body.data() + glptr->requestBodyRead, n);
    glptr->requestBodyRead += n;
    return n;
}

int mysend(struct soap* soap, const char* buf, size_t len) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr->pReq != NULL, WS_HOST_MODULE);
    WS_ASSERT(glptr->pReq->out != NULL, WS_HOST_MODULE);
    if (buf == nullptr) return -1;
    if (FCGX_PutStr(buf, static_cast<int>(len), glptr->pReq->out) < 0) return -1;
    return SOAP_OK;
}

// A handler that throws has left the engine without an error of its own: the
// client receives a server fault naming the exception.
static void sendExceptionFault(struct soap* soap, const char* what) {
    soap_receiver_fault(soap, "The service failed while serving the request", what);
    soap_send_fault(soap);
}

// Every stage is guarded: whatever the client sends ends in a reply or, for
// the runtime's end-of-stream codes (>= SOAP_STOP), in no reply at all.
int soap_process(struct soap* soap, bool) {
    soap_begin(soap);
    if (soap_begin_recv(soap) != SOAP_OK) {
        if (soap->error < SOAP_STOP) soap_send_fault(soap);
        soap_closesock(soap);
        releaseRequestData(soap);
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
        sendExceptionFault(soap, e.what());
    } catch (...) {
        std::fputs("Exception in soap_serve processing: unknown \n", stderr);
        sendExceptionFault(soap, "unknown exception");
    }
    releaseRequestData(soap);
    return 0;
}

int soap_serve(struct soap* soap) {
    global_data_t* glptr = recordOf(soap);
    if (FCGX_Init() < 0) return -1;
    int rc = tk_fcgi_bind(wsbridge_socket_path(), kBacklog);
    if (rc < 0) return rc;
    installRequestDeadline();

    FCGX_Request request;
    // No listening socket for libfcgi: the loop accepts (acceptRequest).
    FCGX_InitRequest(&request, -1, 0);
    soap->frecv = myrecv;
    soap->fsend = mysend;
    glptr->pReq = &request;

    uint32_t lastSweep = glptr->clock.monoSeconds();
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
            accept_result_t accepted = acceptRequest(request);
            if (accepted == ACCEPT_FATAL) {
                std::fputs("Error in Accept(), exiting now...\n", stderr);
                soap->error = -1;
                // A failed accept leaves no output stream; the fault can only
                // be written when there is one (mysend asserts on it).
                int result = request.out != NULL ? soap_send_fault(soap) : -1;
                FCGX_Free(&request, 1);
                return result != 0 ? result : -1;
            }
            if (accepted == ACCEPT_DROPPED)
                std::fprintf(stderr,
                             "Dropped a FastCGI connection without a request within %d s \n",
                             kRequestSeconds);
            if (accepted == ACCEPT_OK) {
                serveOne(soap, glptr, request, firstRequest);
                firstRequest = false;
            }
        }
        // Linux select leaves the remaining time in `timeout`: 0 means it
        // timed out. Under steady traffic the 5 s rule still sweeps.
        uint32_t now = glptr->clock.monoSeconds();
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
