// Reset: the reboot command is never really started. The process record
// points it at a stand-in; the handler runs in a child process (a successful
// start replaces that child), and the stand-in records how it was started.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "service_store.h"
#include "ws_simul.h"

namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class ResetTest : public ServiceStore {
  protected:
    std::string reset(int* status) {
        _nst1__Reset request;
        _nst1__ResetResponse response;
        *status = __nst1__Reset(soap_, &request, response);
        return response.ResetResult ? *response.ResetResult : "<null>";
    }

    // Forks; the child sends its standard error to stderr.txt and calls
    // Reset. If Reset returns, the child writes the status, the reply and the
    // exit flag to reply.txt.
    void resetInChild() {
        pid_t pid = fork();
        if (pid == 0) {
            int err = open(gw_->file("stderr.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (err < 0 || dup2(err, 2) < 0) _exit(91);
            int status = 0;
            std::string reply = reset(&status);
            std::ofstream(gw_->file("reply.txt")) << status << "|" << reply << "|" << __signal_exit;
            _exit(0);
        }
        int wstatus = 0;
        ASSERT_EQ(waitpid(pid, &wstatus, 0), pid);
        ASSERT_TRUE(WIFEXITED(wstatus) && WEXITSTATUS(wstatus) == 0);
    }
};

TEST_F(ResetTest, NonAdminGets401AndNothingHappens) {
    for (const char* user : {"operator", "viewer", "nobody"}) {
        actAs(user);
        int status = 0;
        EXPECT_EQ(reset(&status), "");
        EXPECT_EQ(status, 401) << user;
    }
    EXPECT_EQ(__signal_exit, 0);
}

// A stand-in that starts replaces the process at the first attempt, without
// arguments; one that cannot start (not executable, even for root) is tried
// twice and reported with the system's text.
TEST_F(ResetTest, RebootCommandIsStartedOrItsFailureReported) {
    struct Row {
        const char* script;
        mode_t mode;
        const char* record;  // what the stand-in wrote; "" when it never ran
        const char* reply;   // status|reply|exit flag; "" when Reset never returned
    };
    const std::string record = gw_->file("record.txt");
    const Row rows[] = {
        {"#!/bin/sh\necho \"$0|$#|$*\" >> '%R'\n", 0755, "%C|0|\n", ""},
        {"not a program\n", 0644, "", "0|? System Reboot Failed: Permission denied|1"},
    };
    actAs("admin");
    for (const Row& row : rows) {
        std::remove(record.c_str());
        std::remove(gw_->file("reply.txt").c_str());
        const std::string command = gw_->file("reboot");
        std::string script = row.script;
        if (script.find("%R") != std::string::npos) script.replace(script.find("%R"), 2, record);
        std::ofstream(command) << script;
        ASSERT_EQ(chmod(command.c_str(), row.mode), 0);
        global().rebootCommand = command;

        resetInChild();
        std::string expected = row.record;
        if (expected.find("%C") != std::string::npos) expected.replace(0, 2, command);
        EXPECT_EQ(slurp(record), expected) << row.script;
        EXPECT_EQ(slurp(gw_->file("reply.txt")), row.reply) << row.script;
        EXPECT_NE(slurp(gw_->file("stderr.txt"))
                      .find("Network Card Reset requested via web services by admin at 10.0.0.5"),
                  std::string::npos)
            << "the system-log entry is missing";
    }
}

}  // namespace
