// Node management: CreateNode, RemoveNode (node or one attribute) and
// getSubscribedNodes against a real store.
#include "ws_simul.h"

#include "service_store.h"

using toolkit::CElement;

namespace {

using Strings = std::vector<std::string>;

class SimulTest : public ServiceStore {
  protected:
    void SetUp() override {
        ServiceStore::SetUp();
        actAs("admin");
    }
    std::string removeNode(const char* basePath, const char* options = nullptr,
                           int* status = nullptr) {
        _nst1__RemoveNode request;
        request.options = str(options);
        request.basePath = str(basePath);
        _nst1__RemoveNodeResponse response;
        int rc = __nst1__RemoveNode(soap_, &request, response);
        if (status)
            *status = rc;
        else
            EXPECT_EQ(rc, SOAP_OK);
        return response.RemoveNodeResult ? *response.RemoveNodeResult : "<null>";
    }
    std::string createNode(const char* basePath, const Strings& paths, const Strings& values,
                           const char* options = nullptr, int* status = nullptr) {
        _nst1__CreateNode request;
        request.options = str(options);
        request.basePath = str(basePath);
        request.paths = paths;
        request.values = values;
        _nst1__CreateNodeResponse response;
        int rc = __nst1__CreateNode(soap_, &request, response);
        if (status)
            *status = rc;
        else
            EXPECT_EQ(rc, SOAP_OK);
        return response.CreateNodeResult ? *response.CreateNodeResult : "<null>";
    }
    Strings subscribedNodes(const char* id) {
        _nst1__getSubscribedNodes request;
        request.subscriptionId = str(id);
        _nst1__getSubscribedNodesResponse response;
        EXPECT_EQ(__nst1__getSubscribedNodes(soap_, &request, response), SOAP_OK);
        return response.getSubscribedNodesResult;
    }
};

TEST_F(SimulTest, RemoveNodeRows) {
    const struct {
        const char* path;
        const char* options;
        const char* reply;
    } rows[] = {
        {"/Nope", nullptr, "? 9 Node Not Found : CDS Error removing node"},
        {"/Meters/M1:Nothing", nullptr, "? 9 Node Not Found : CDS Error removing node"},
        {"/Meters//M1", nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
        {"", nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
        {nullptr, nullptr, "? 8 Bad Path Syntax : CDS Error in supplied path"},
        {"/Nope", "errorPrefix=E", "E? 9 Node Not Found : CDS Error removing node"},
        {"/Nope", "errorString=", ""},
        {"/", nullptr, "? 9 Node Not Found : CDS Error removing node"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(removeNode(row.path, row.options), row.reply) << (row.path ? row.path : "null");
    EXPECT_TRUE(exists("/Meters/M1"));
}

TEST_F(SimulTest, RemoveAttributeClearsOneLeaf) {
    EXPECT_EQ(removeNode("/Meters/M1:Units"), "");
    EXPECT_EQ(stored("/Meters/M1:Units").type(), DATA_TYPE_NONE);
    EXPECT_EQ(stored("/Meters/M1/Value").to_real(), 230.5);
    EXPECT_TRUE(exists("/Meters/M1"));
}

TEST_F(SimulTest, RemoveNodeRemovesSubtree) {
    EXPECT_EQ(removeNode("/Meters/List"), "");
    EXPECT_FALSE(exists("/Meters/List"));
    EXPECT_FALSE(exists("/Meters/List/a"));
    EXPECT_TRUE(exists("/Meters/M1"));
}

TEST_F(SimulTest, RemoveNeedsAnAdmin) {
    for (const char* user : {"operator", "viewer"}) {
        actAs(user);
        int status = 0;
        EXPECT_EQ(removeNode("/Meters/M1", nullptr, &status), "<null>");
        EXPECT_EQ(status, 401);
        EXPECT_EQ(removeNode("/Meters/M1:Units", nullptr, &status), "<null>");
        EXPECT_EQ(status, 401);
    }
    EXPECT_TRUE(exists("/Meters/M1"));
    EXPECT_EQ(stored("/Meters/M1:Units").to_string(), "V");
}

TEST_F(SimulTest, CreateNodeWithLeaves) {
    EXPECT_EQ(
        createNode("/Meters/New/", {"Units", "/Description", "Writable"}, {"A", "new", "true"}),
        "");
    EXPECT_TRUE(exists("/Meters/New"));
    EXPECT_EQ(getValue("/Meters/New:Units"), "A");
    EXPECT_EQ(getValue("/Meters/New/Description"), "new");
    EXPECT_EQ(stored("/Meters/New/Writable").type(), DATA_TYPE_BOOL);
    // Creating it again sets the leaves on the existing node.
    EXPECT_EQ(createNode("/Meters/New", {"Units"}, {"kA"}), "");
    EXPECT_EQ(getValue("/Meters/New:Units"), "kA");
    // Missing ancestors are created too.
    EXPECT_EQ(createNode("/Plant/Area/Pump", {"Units"}, {"rpm"}), "");
    EXPECT_TRUE(exists("/Plant/Area"));
}

TEST_F(SimulTest, CreateNodeFailures) {
    const struct {
        const char* base;
        Strings paths, values;
        const char* reply;
    } rows[] = {
        {nullptr, {"Units"}, {"A"}, "? 8 Bad Path Syntax : No node path provided"},
        {"", {"Units"}, {"A"}, "? 8 Bad Path Syntax : No node path provided"},
        {"/Meters/X", {}, {}, "? 17 No Paths Provided : No Paths provided"},
        {"/Meters/X", {"Units"}, {}, "? 12 Bad Value Format : No Values provided"},
        {"/Meters/X",
         {"Units", "Value"},
         {"A"},
         "? 33 Argument Invalid/Not Supported : Mismatched array sizes"},
        {"/Meters//X", {"Units"}, {"A"}, "? 8 Bad Path Syntax : CDS Error in supplied path"},
        {"/Meters/X:Units", {"Units"}, {"A"}, "? 8 Bad Path Syntax : CDS Error in supplied path"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(createNode(row.base, row.paths, row.values), row.reply)
            << (row.base ? row.base : "null");
    EXPECT_FALSE(exists("/Meters/X"));
}

TEST_F(SimulTest, CreateNodeTakesFullLeafPaths) {
    EXPECT_EQ(
        createNode("/Meters/Full", {"/Meters/Full/Units", "/Meters/Full:Description", "Writable"},
                   {"A", "ünits in €", "true"}),
        "");
    EXPECT_EQ(getValue("/Meters/Full:Units"), "A");
    EXPECT_EQ(getValue("/Meters/Full/Description"), "ünits in €");
    EXPECT_FALSE(exists("/Meters/Full/Meters"));
}

// A create none of whose leaves could be written leaves nothing behind: not
// the node, not the ancestors it added; an existing node stays.
TEST_F(SimulTest, CreateNodeThatWritesNothingRemovesWhatItAdded) {
    const struct {
        const char* base;
        Strings paths;
        const char* gone;  // must not exist afterwards (null: nothing to check)
        const char* kept;  // must still exist
    } rows[] = {
        {"/Meters/Empty", {"Children"}, "/Meters/Empty", "/Meters"},
        {"/Plant2/Area/Pump", {"ValueAge", "Attributes"}, "/Plant2", "/Meters"},
        {"/Meters/M1", {"Children"}, nullptr, "/Meters/M1"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.base);
        EXPECT_EQ(createNode(row.base, row.paths, Strings(row.paths.size(), "x")),
                  "? 16 Write Failed");
        if (row.gone) {
            EXPECT_FALSE(exists(row.gone));
        }
        EXPECT_TRUE(exists(row.kept));
    }
    EXPECT_EQ(getValue("/Meters/M1:Units"), "V");
}

TEST_F(SimulTest, CreateNodeWithAFailingLeafKeepsTheGoodOnes) {
    EXPECT_EQ(createNode("/Meters/Y", {"Units", "Children", "Writable"}, {"A", "x", "false"}),
              "? 16 Write Failed");
    EXPECT_TRUE(exists("/Meters/Y"));
    EXPECT_EQ(getValue("/Meters/Y:Units"), "A");
    EXPECT_EQ(stored("/Meters/Y/Writable").type(), DATA_TYPE_NONE);
}

TEST_F(SimulTest, SubscribedNodes) {
    const std::string base = "/Software/Data Servers/WS-Publisher/Subscriptions/";
    node(base + "S1/RTNodes/Meters.M1");
    node(base + "S1/RTNodes/Meters.Breaker");
    node(base + "S1/RTNodes/Odd%2Ename.x");
    node(base + "S2/RTNodes");
    node(base + "S3");
    EXPECT_EQ(subscribedNodes("S1"), Strings({"/Meters/M1", "/Meters/Breaker", "/Odd.name/x"}));
    EXPECT_EQ(subscribedNodes("S2"), Strings());
    EXPECT_EQ(subscribedNodes("S3"), Strings({"? 28 No match for SubscriberId : S3"}));
    EXPECT_EQ(subscribedNodes("S9"), Strings({"? 28 No match for SubscriberId : S9"}));
    EXPECT_EQ(subscribedNodes(nullptr),
              Strings({"? 28 No match for SubscriberId : No subscriptionId given"}));
}

TEST_F(SimulTest, SubscribedNodesWithAnEmptyListElementThrows) {
    // A child name with ";;" splits into an empty element; the out-of-range
    // error leaves the handler and the request loop answers with a fault.
    node("/Software/Data Servers/WS-Publisher/Subscriptions/S4/RTNodes/a;;b");
    EXPECT_THROW(subscribedNodes("S4"), std::out_of_range);
}

TEST(SimulHelpers, LeafPathAndResetText) {
    EXPECT_EQ(dsv_leafPath("/A/B", "Units"), "/A/B/Units");
    EXPECT_EQ(dsv_leafPath("/A/B", "/Units"), "/A/B/Units");
    EXPECT_EQ(dsv_leafPath("/A/B", ":Units"), "/A/B:Units");
    EXPECT_EQ(dsv_leafPath("/", "Units"), "/Units");
    // Leaf paths that already begin with the node's path are full paths.
    EXPECT_EQ(dsv_leafPath("/A/B", "/A/B/Units"), "/A/B/Units");
    EXPECT_EQ(dsv_leafPath("/A/B", "/A/B:Units"), "/A/B:Units");
    EXPECT_EQ(dsv_leafPath("/A/B", "/A/B"), "/A/B");
    EXPECT_EQ(dsv_leafPath("/A/B", "/A/BC/Units"), "/A/B/A/BC/Units");
    EXPECT_EQ(dsv_leafPath("/", "/Units"), "/Units");
    EXPECT_EQ(dsv_leafPath("/", ":Units"), "/:Units");
    EXPECT_EQ(dsv_resetLogText("admin", "10.0.0.5"),
              "Network Card Reset requested via web services by admin at 10.0.0.5");
    // An absent user cuts the text at that point.
    EXPECT_EQ(dsv_resetLogText(nullptr, "10.0.0.5"),
              "Network Card Reset requested via web services by ");
    EXPECT_EQ(dsv_resetLogText("admin", nullptr),
              "Network Card Reset requested via web services by admin at ");
}

}  // namespace
