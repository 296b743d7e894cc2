// Broken invariants of the transport: the hooks and the socket binder stop
// the process with an assertion that names the module and the condition.
#include <fcgiapp.h>
#include <gtest/gtest.h>

#include <string>

#include "soapH.h"
#include "wsbridge_host.h"

namespace {

class TransportInvariants : public ::testing::Test {
  protected:
    void SetUp() override {
        engine = soap_new();
        engine->user = &g;
    }
    void TearDown() override { soap_free(engine); }

    global_data_t g;
    struct soap* engine = nullptr;
    char buf[8] = {0};
};

TEST_F(TransportInvariants, HooksWithoutRequestAbort) {
    EXPECT_DEATH(myrecv(engine, buf, sizeof buf),
                 "common/source/wsbridge:[0-9]+: Assertion `glptr->pReq != __null' failed");
    EXPECT_DEATH(mysend(engine, buf, sizeof buf),
                 "common/source/wsbridge:[0-9]+: Assertion `glptr->pReq != __null' failed");
}

TEST_F(TransportInvariants, HooksWithoutStreamsAbort) {
    FCGX_Request request;
    FCGX_InitRequest(&request, 0, 0);  // not accepted: no streams
    g.pReq = &request;
    EXPECT_DEATH(myrecv(engine, buf, sizeof buf), "Assertion `glptr->pReq->in != __null' failed");
    EXPECT_DEATH(mysend(engine, buf, sizeof buf), "Assertion `glptr->pReq->out != __null' failed");
}

TEST(SocketBind, EmptyPathAborts) {
    EXPECT_DEATH(tk_fcgi_bind("", 64),
                 "common/source/wsbridge:[0-9]+: Assertion `!path.empty\\(\\)' failed");
}

}  // namespace
