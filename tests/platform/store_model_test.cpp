// The tree model: nodes, leaves, resolution of leaf/attribute paths,
// creation order and subtree removal.
#include <cmath>

#include "test_store.h"

using toolkit::CElement;

TEST_F(StoreTest, LeafAndColonFormsNameTheSameLeaf) {
    ASSERT_TRUE(cds.is_initialized());
    mk("/A/B");
    put("/A/B/Value", CElement::from_real(230.5));
    put("/A/B:Units", CElement::from_string("V"));
    EXPECT_EQ(text("/A/B:Value"), "230.5");
    EXPECT_EQ(text("/A/B/Units"), "V");
    EXPECT_EQ(text("/A/B"), "230.5");  // a node reads as its Value leaf
    put("/A/B/.Quality", CElement::from_uint(192));
    EXPECT_EQ(text("/A/B:.Quality"), "192");
}

TEST_F(StoreTest, MissingNodeOrLeafIsStatus2) {
    mk("/A/B");
    EXPECT_EQ(get("/A/B/Nope"), API_NOT_FOUND);
    EXPECT_EQ(get("/A/C"), API_NOT_FOUND);
    EXPECT_EQ(get("/A/B"), API_NOT_FOUND);  // node without a Value leaf
    api_status_t st;
    cds.set_leaf("/X/Y/Value", CElement::from_int(1), st, DSV_TRI_UNSET, "t");
    EXPECT_EQ(st.code, API_NOT_FOUND);
}

TEST_F(StoreTest, ChildrenAndAttributesInCreationOrder) {
    for (const char* n : {"/D/zeta", "/D/alpha", "/D/mid"}) mk(n);
    for (const char* l : {"/D/Z", "/D/A", "/D/M"}) put(l, CElement::from_int(1));
    EXPECT_EQ(text("/D:Children"), "zeta;alpha;mid");
    EXPECT_EQ(text("/D:Attributes"), "Z;A;M");
    EXPECT_EQ(text("/D/Children"), "zeta;alpha;mid");
    api_status_t st;
    std::vector<tk_string> names;
    cds.get_children("/D", names, st);
    ASSERT_TRUE(st.ok());
    EXPECT_EQ(names, (std::vector<tk_string>{"zeta", "alpha", "mid"}));
}

TEST_F(StoreTest, RemoveNodeTakesSubtreeOnly) {
    mk("/R/a/b");
    mk("/R/a-b");  // '-' sorts before '/': must survive the range delete
    mk("/R/a0");
    put("/R/a/b/Value", CElement::from_int(1));
    api_status_t st;
    cds.remove_node("/R/a", st, "t");
    ASSERT_TRUE(st.ok()) << st.text();
    EXPECT_FALSE(cds.node_exists("/R/a"));
    EXPECT_FALSE(cds.node_exists("/R/a/b"));
    EXPECT_TRUE(cds.node_exists("/R/a-b"));
    EXPECT_TRUE(cds.node_exists("/R/a0"));
    EXPECT_EQ(text("/R:Children"), "a-b;a0");
}

// The read rules on one small tree: /P is a point node with leaves, /P/Sub a
// child node, /Q a node without a Value leaf.
class ResolveTest : public StoreTest {
  protected:
    void SetUp() override {
        mk("/P/Sub");
        mk("/Q");
        put("/P/Value", CElement::from_real(1.5));
        put("/P/Units", CElement::from_string("V"));
        put("/P/Sub/Value", CElement::from_int(7));
        put("/Q/Name", CElement::from_string("q"));
    }
};

TEST_F(ResolveTest, ReadRules) {
    struct Case {
        const char* path;
        int status;
        const char *node, *attribute, *sub, *value;
    } cases[] = {
        {"/P/Value", 1, "/P", "Value", "", "1.5"},
        {"/P:Value", 1, "/P", "Value", "", "1.5"},
        {"/P", 1, "/P", "Value", "", "1.5"},
        {"/P/Units", 1, "/P", "Units", "", "V"},
        {"/P:Units", 1, "/P", "Units", "", "V"},
        {"/P/Sub", 1, "/P/Sub", "Value", "", "7"},
        {"/P/Value:.Time", 1, "/P", ".Time", ".Time", "1.5"},
        {"/P/Value:.Bogus", 1, "/P", ".Bogus", ".Bogus", "1.5"},  // unknown sub-attribute
        {"/P/Units:.Source", 1, "/P", ".Source", ".Source", "V"},
        {"/P:Children", 1, "/P", "Children", "", "Sub"},
        {"/P:Attributes", 1, "/P", "Attributes", "", "Value;Units"},
        {"/:Children", 1, "/", "Children", "", "P;Q"},
        {"/Q", 2, "", "", "", ""},
        {"/Q:Value", 2, "", "", "", ""},
        {"/Q/Nope", 2, "", "", "", ""},
        {"/P:Nope", 2, "", "", "", ""},
        {"/P/Nope:.Time", 2, "", "", "", ""},
        {"/Z", 2, "", "", "", ""},
        {"/Z:Children", 2, "", "", "", ""},
        {"/P//Value", 5, "", "", "", ""},
        {"P/Value", 5, "", "", "", ""},
    };
    for (const Case& c : cases) {
        CPath p(c.path);
        p.normalize();
        api_status_t st;
        CElement v;
        element_property_t prop;
        int rc = cds.get_leaf(p, st, v, prop);
        EXPECT_EQ(st.code, c.status) << c.path;
        EXPECT_EQ(rc == 0, c.status == 1) << c.path;
        EXPECT_EQ(p.nodeKnown(), c.status == 1) << c.path;
        if (c.status != 1) continue;
        EXPECT_EQ(p.getNodePath(), c.node) << c.path;
        EXPECT_EQ(p.getPathAttribute(), c.attribute) << c.path;
        EXPECT_EQ(p.getAttributePart(), c.sub) << c.path;
        EXPECT_EQ(v.to_string(), c.value) << c.path;
    }
}

TEST_F(ResolveTest, LoppingUsesTheResolvedLeaf) {
    struct Case {
        const char *path, *last, *rest;
    } cases[] = {{"/P", "Value", "/P"},
                 {"/P/Value:.Time", "Value", "/P"},
                 {"/P:Units", "Units", "/P"},
                 {"/P/Sub", "Value", "/P/Sub"}};
    for (const Case& c : cases) {
        CPath p(c.path);
        p.normalize();
        api_status_t st;
        CElement v;
        element_property_t prop;
        cds.get_leaf(p, st, v, prop);
        ASSERT_TRUE(st.ok()) << c.path;
        CPath copy(p);
        EXPECT_EQ(copy.LopLastSubpath(), c.last) << c.path;
        EXPECT_EQ(copy.str(), c.rest) << c.path;
    }
    CPath unread("/P");
    unread.normalize();
    EXPECT_EQ(unread.LopLastSubpath(), "P");  // not read: the syntactic parts
}

TEST_F(ResolveTest, ComputedListsAreAutomaticText) {
    CElement v;
    api_status_t st;
    element_property_t prop = ELEMENT_NORMAL;
    cds.get_leaf("/P:Children", st, v, prop);
    ASSERT_TRUE(st.ok());
    EXPECT_EQ(v.type(), DATA_TYPE_STRING);
    EXPECT_EQ(prop, ELEMENT_AUTOMATIC);
    EXPECT_EQ(text("/Q:Children"), "");  // a node without children lists nothing
}

TEST_F(ResolveTest, WriteRules) {
    struct Case {
        const char* path;
        int status;
        const char* readBack;  // path that must then hold "w"
    } cases[] = {
        {"/P/Units", 1, "/P:Units"},
        {"/P:Units", 1, "/P/Units"},
        {"/Q", 1, "/Q/Value"},    // a node path writes its Value leaf
        {"/Q/New", 1, "/Q:New"},  // missing leaf of an existing node is created
        {"/Q:Other", 1, "/Q/Other"},
        {"/P/Value:.Time", 4, nullptr},  // no writes to sub-attributes
        {"/P/Value:.Anything", 4, nullptr},
        {"/P:Children", 4, nullptr},  // computed lists are not stored
        {"/P/Attributes", 4, nullptr},
        {"/P:Sub", 4, nullptr},  // name held by a child node
        {"/Z/Value", 2, nullptr},
        {"/Z:Value", 2, nullptr},
        {"/P:a:b", 5, nullptr},
        {"", 5, nullptr},
    };
    for (const Case& c : cases) {
        api_status_t st;
        int rc = cds.set_leaf(c.path, CElement::from_string("w"), st, DSV_TRI_UNSET, "t");
        EXPECT_EQ(st.code, c.status) << c.path;
        EXPECT_EQ(rc == 0, c.status == 1) << c.path;
        if (c.readBack) {
            EXPECT_EQ(text(c.readBack), "w") << c.path;
        }
    }
    EXPECT_EQ(text("/P/Value"), "1.5");  // untouched by the refused writes
    EXPECT_EQ(text("/P/Sub"), "7");
}

TEST_F(ResolveTest, NodeAndLeafNamesShareOneNamespace) {
    api_status_t st;
    cds.add_node("/P/Units", st, "t");  // Units is a leaf of /P
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    cds.add_node("/P/Units/Deeper", st, "t");
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    EXPECT_FALSE(cds.node_exists("/P/Units"));
    cds.add_node("/P/Sub", st, "t");
    EXPECT_EQ(st.code, API_EXISTS);
    cds.add_node("/P:Sub", st, "t");
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    cds.add_node("/P/./x", st, "t");
    EXPECT_EQ(st.code, API_BAD_PATH);
}

TEST_F(ResolveTest, ClearLeafAndRemoveNode) {
    api_status_t st;
    cds.clear_leaf("/P/Units", st, "t");
    EXPECT_TRUE(st.ok());
    EXPECT_EQ(get("/P/Units"), API_NOT_FOUND);
    cds.clear_leaf("/P/Units", st, "t");
    EXPECT_EQ(st.code, API_NOT_FOUND);
    cds.clear_leaf("/P/Value:.Time", st, "t");
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    EXPECT_EQ(text("/P/Value"), "1.5");
    cds.remove_node("/", st, "t");
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    cds.remove_node("/Nope", st, "t");
    EXPECT_EQ(st.code, API_NOT_FOUND);
    cds.remove_node("/P:Units", st, "t");
    EXPECT_EQ(st.code, API_NOT_PERMITTED);
    cds.test_node("/P", st);
    EXPECT_TRUE(st.ok());
    cds.test_node("/P/Value", st);  // a leaf is not a node
    EXPECT_EQ(st.code, API_NOT_FOUND);
    cds.test_node("bad", st);
    EXPECT_EQ(st.code, API_BAD_PATH);
}

TEST_F(StoreTest, DeepAndLongPaths) {
    std::string deep;
    while (deep.size() < 4096) deep += "/d";  // 2,048 levels, the longest path
    api_status_t st;
    cds.add_node(deep, st, "t");
    ASSERT_TRUE(st.ok()) << st.text();
    cds.set_leaf(deep + ":Value", CElement::from_int(5), st, DSV_TRI_UNSET, "t");
    EXPECT_EQ(st.code, API_BAD_PATH);  // ":Value" goes beyond the limit
    EXPECT_EQ(get(deep), API_NOT_FOUND);
    EXPECT_EQ(get(deep + "/Value"), API_BAD_PATH);
    put(deep.substr(0, 4000) + "/Value", CElement::from_int(6));
    EXPECT_EQ(text(deep.substr(0, 4000)), "6");
    cds.add_node(deep + "/x", st, "t");
    EXPECT_EQ(st.code, API_BAD_PATH);
    cds.remove_node("/d", st, "t");
    EXPECT_TRUE(st.ok());
    EXPECT_EQ(text("/:Children"), "");
}

TEST_F(StoreTest, PersistenceArgumentAndProperties) {
    mk("/N");
    struct Step {
        dsv_tribool_t persist;
        element_property_t expect;
    } steps[] = {{DSV_TRI_UNSET, ELEMENT_NORMAL},  // new leaf: Normal
                 {DSV_TRI_TRUE, ELEMENT_PERSISTENT},
                 {DSV_TRI_FALSE, ELEMENT_PERSISTENT},  // kept
                 {DSV_TRI_UNSET, ELEMENT_PERSISTENT}};
    for (const Step& s : steps) {
        api_status_t st;
        cds.set_leaf("/N/L", CElement::from_int(1), st, s.persist, "t");
        ASSERT_TRUE(st.ok());
        CElement v;
        element_property_t prop;
        cds.get_leaf("/N/L", st, v, prop);
        EXPECT_EQ(prop, s.expect) << s.persist;
    }
    api_status_t st;
    cds.set_property("/N/L", ELEMENT_MPL, st);
    EXPECT_TRUE(st.ok());
    cds.set_property("/N/Missing", ELEMENT_MPL, st);
    EXPECT_EQ(st.code, API_NOT_FOUND);
    CElement v;
    element_property_t prop;
    cds.get_leaf("/N/L", st, v, prop);
    EXPECT_EQ(prop, ELEMENT_MPL);
}

TEST_F(StoreTest, EveryTypeStoresExactly) {
    mk("/T");
    const CElement values[] = {
        CElement::from_bool(true),
        CElement::from_int(INT32_MIN),
        CElement::from_uint(UINT32_MAX),
        CElement::from_real(-0.0),
        CElement::from_real(NAN),
        CElement::from_real(0.1),
        CElement::from_float(1e-310),
        CElement::from_time(timeval{-5, 250000}),
        CElement::from_string("a;b\n\"c\" \xc3\xa9"),
        CElement::from_int64(INT64_MIN),
        CElement::from_uint64(UINT64_MAX),
        CElement(),
    };
    int i = 0;
    for (const CElement& v : values) {
        std::string path = "/T/L" + std::to_string(i++);
        CElement stamped(v, timeval{1700000000, 123456});
        put(path, stamped);
        CElement back;
        ASSERT_EQ(get(path, back), API_SUCCESS);
        EXPECT_TRUE(back == stamped) << path << " " << v.to_string() << " -> " << back.to_string();
    }
}

TEST_F(StoreTest, UnstampedWritesAreStampedNow) {
    mk("/S");
    put("/S/L", CElement::from_int(1));
    CElement v;
    ASSERT_EQ(get("/S/L", v), API_SUCCESS);
    EXPECT_GT(v.stamp().tv_sec, 1600000000);
}
