// Authorisation policy: roles from the store's role leaves and the client
// named by $REMOTE_USER.
#include <cstdlib>

#include "test_store.h"

using toolkit::CElement;

namespace {

class AuthTest : public StoreTest {
  protected:
    void SetUp() override {
        role("alice", CElement::from_string("operator"));
        role("root", CElement::from_string("admin"));
        role("bob", CElement::from_string("viewer"));
        role("eve", CElement::from_string("superuser"));
        role("num", CElement::from_int(2));  // not a text: no role
        role("Carol", CElement::from_string("ADMIN"));
        const char* old = getenv("REMOTE_USER");
        m_saved = old ? old : "";
        m_had = old != nullptr;
    }
    void TearDown() override {
        if (m_had)
            setenv("REMOTE_USER", m_saved.c_str(), 1);
        else
            unsetenv("REMOTE_USER");
    }
    void role(const std::string& user, const CElement& v) {
        mk("/Software/Security/Users/" + user);
        put("/Software/Security/Users/" + user + "/Role", v);
    }
    std::string m_saved;
    bool m_had = false;
};

struct AuthCase {
    const char* user;  // null: REMOTE_USER unset
    const char* path;
    bool test;
    bool read, write, remove, reset;
};

const AuthCase kCases[] = {
    // user, path, testMode: read write remove reset
    {nullptr, "/Devices/M1/Value", false, true, false, false, false},
    {"", "/Devices/M1/Value", false, true, false, false, false},
    {"mallory", "/Devices/M1/Value", false, true, false, false, false},
    {"bob", "/Devices/M1/Value", false, true, false, false, false},
    {"eve", "/Devices/M1/Value", false, true, false, false, false},
    {"num", "/Devices/M1/Value", false, true, false, false, false},
    {"alice", "/Devices/M1/Value", false, true, true, false, false},
    {"alice", "/Devices/M1/Value", true, true, false, false, false},
    {"alice", "/Software/Security/Users/alice/Role", false, false, false, false, false},
    {"root", "/Devices/M1/Value", false, true, true, true, true},
    {"root", "/Devices/M1/Value", true, true, true, true, true},
    {"root", "/Software/Security/Users/bob/Role", false, false, true, true, true},
    {"root", "/Software/Security", false, false, true, true, true},
    {"root", "/Software/Security:Children", false, false, true, true, true},
    {"root", "/Software/SecurityLog", false, true, true, true, true},  // not below Security
    {"Carol", "/Devices/M1/Value", false, true, true, true, true},     // role text without case
    {"carol", "/Devices/M1/Value", false, true, false, false, false},  // user names are exact
    {"../root", "/Devices/M1/Value", false, true, false, false, false},
    {"root/x", "/Devices/M1/Value", false, true, false, false, false},
    {"root", "/Devices//M1", false, true, false, false, true},  // malformed: the store refuses it
};

}  // namespace

TEST_F(AuthTest, PolicyTable) {
    for (const AuthCase& c : kCases) {
        if (c.user)
            setenv("REMOTE_USER", c.user, 1);
        else
            unsetenv("REMOTE_USER");
        CPath p(c.path);
        p.normalize();
        std::string label =
            std::string(c.user ? c.user : "(unset)") + " " + c.path + (c.test ? " test" : "");
        EXPECT_EQ(p.is_read_authorized(), c.read) << label;
        EXPECT_EQ(p.is_cds_write_authorized(cds, c.test), c.write) << label;
        EXPECT_EQ(p.is_remove_authorized(cds), c.remove) << label;
        EXPECT_EQ(p.is_reset_authorized(cds), c.reset) << label;
    }
}

TEST_F(AuthTest, GrantingARoleTakesEffectAtOnce) {
    setenv("REMOTE_USER", "dave", 1);
    CPath p("/Devices/M1/Value");
    p.normalize();
    EXPECT_FALSE(p.is_cds_write_authorized(cds));
    role("dave", CElement::from_string("operator"));
    EXPECT_TRUE(p.is_cds_write_authorized(cds));
    api_status_t st;
    cds.remove_node("/Software/Security/Users/dave", st, "t");
    EXPECT_FALSE(p.is_cds_write_authorized(cds));
}
