// The tree model: nodes, leaves, resolution of leaf/attribute paths,
// creation order and subtree removal.
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
