// Reset: the reboot command is never really started. The handler runs in a
// child process with a private mount namespace in which a stand-in is bound
// over /sbin/reboot; the stand-in records how it was started.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "service_store.h"
#include "ws_simul.h"

namespace {

std::string slurp(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class ResetTest : public ServiceStore {
protected:
    std::string reset(int* status)
    {
        _nst1__Reset request;
        _nst1__ResetResponse response;
        *status = __nst1__Reset(soap_, &request, response);
        return response.ResetResult ? *response.ResetResult : "<null>";
    }

    // Forks; the child enters a private mount namespace, binds `standIn` over
    // /sbin/reboot, sends its standard error to stderr.txt and calls Reset.
    // If Reset returns, the child writes the reply and status to reply.txt.
    // Returns the child's wait status.
    int resetInNamespace(const std::string& standIn)
    {
        pid_t pid = fork();
        if (pid == 0) {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount(standIn.c_str(), "/sbin/reboot", nullptr, MS_BIND, nullptr) != 0)
                _exit(90);
            // Never go on unless the stand-in really is what /sbin/reboot is now.
            if (slurp("/sbin/reboot") != slurp(standIn)) _exit(92);
            int err = open(gw_->file("stderr.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (err < 0 || dup2(err, 2) < 0) _exit(91);
            int status = 0;
            std::string reply = reset(&status);
            std::ofstream out(gw_->file("reply.txt"));
            out << status << "|" << reply << "|" << __signal_exit;
            out.close();
            _exit(0);
        }
        int wstatus = 0;
        waitpid(pid, &wstatus, 0);
        return wstatus;
    }

    void writeFile(const std::string& path, const std::string& text, mode_t mode)
    {
        std::ofstream(path) << text;
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }
};

TEST_F(ResetTest, NonAdminGets401AndNothingHappens)
{
    for (const char* user : {"operator", "viewer"}) {
        actAs(user);
        int status = 0;
        EXPECT_EQ(reset(&status), "");
        EXPECT_EQ(status, 401) << user;
    }
    EXPECT_EQ(__signal_exit, 0);
}

TEST_F(ResetTest, RebootCommandReplacesTheProcess)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
    actAs("admin");
    const std::string record = gw_->file("record.txt");
    writeFile(gw_->file("reboot"), "#!/bin/sh\necho \"$0|$#|$*\" >> '" + record + "'\n", 0755);
    int wstatus = resetInNamespace(gw_->file("reboot"));
    ASSERT_TRUE(WIFEXITED(wstatus));
    ASSERT_NE(WEXITSTATUS(wstatus), 90) << "could not set up the mount namespace";
    ASSERT_NE(WEXITSTATUS(wstatus), 92) << "the stand-in is not in place";
    EXPECT_EQ(WEXITSTATUS(wstatus), 0);
    // Started once, without arguments; the handler never returned.
    EXPECT_EQ(slurp(record), "/sbin/reboot|0|\n");
    EXPECT_EQ(slurp(gw_->file("reply.txt")), "");
    EXPECT_NE(slurp(gw_->file("stderr.txt"))
                  .find("Network Card Reset requested via web services by admin at 10.0.0.5"),
              std::string::npos)
        << "the system-log entry is missing";
}

TEST_F(ResetTest, FailedRebootIsReported)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
    actAs("admin");
    // Not executable: both attempts fail with EACCES, even for root.
    writeFile(gw_->file("reboot"), "not a program\n", 0644);
    int wstatus = resetInNamespace(gw_->file("reboot"));
    ASSERT_TRUE(WIFEXITED(wstatus));
    ASSERT_EQ(WEXITSTATUS(wstatus), 0);
    EXPECT_EQ(slurp(gw_->file("reply.txt")), "0|? System Reboot Failed: Permission denied|1");
    EXPECT_NE(slurp(gw_->file("stderr.txt")).find("Network Card Reset requested"), std::string::npos);
}

}  // namespace
