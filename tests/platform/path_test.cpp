// CPath syntax, canonical form, the node/leaf/attribute parts, sub-paths
// and the dotted node-name conversion.
#include <gtest/gtest.h>

#include <random>

#include "cds_path.h"

namespace {

struct PathCase {
    const char* text;
    bool valid;
    const char *canonical, *node, *attribute, *subAttribute;
};

const PathCase kPaths[] = {
    {"/", true, "/", "/", "", ""},
    {"/A", true, "/A", "/", "A", ""},
    {"/A/B/Value", true, "/A/B/Value", "/A/B", "Value", ""},
    {"/A/B/", true, "/A/B", "/A", "B", ""},
    {"/A/B:Units", true, "/A/B:Units", "/A/B", "Units", ""},
    {"/A/B:.HiCriticalLimit", true, "/A/B:.HiCriticalLimit", "/A/B", ".HiCriticalLimit", ""},
    {"/A/B/Value:.Time", true, "/A/B/Value:.Time", "/A/B", ".Time", ".Time"},
    {"/A/B/Value:.Source", true, "/A/B/Value:.Source", "/A/B", ".Source", ".Source"},
    {"/A/B/Value:.AttribType", true, "/A/B/Value:.AttribType", "/A/B", ".AttribType",
     ".AttribType"},
    {"/A/B:Children", true, "/A/B:Children", "/A/B", "Children", ""},
    {"/:Children", true, "/:Children", "/", "Children", ""},
    {"/Software/Data Servers/WS-Publisher", true, "/Software/Data Servers/WS-Publisher",
     "/Software/Data Servers", "WS-Publisher", ""},
    {"/A/.hidden", true, "/A/.hidden", "/A", ".hidden", ""},
    {"", false, "", "", "", ""},
    {"A/B", false, "", "", "", ""},
    {"//", false, "", "", "", ""},
    {"/A//B", false, "", "", "", ""},
    {"/A/./B", false, "", "", "", ""},
    {"/A/../B", false, "", "", "", ""},
    {"/A/B//", false, "", "", "", ""},
    {"/A:B:C", false, "", "", "", ""},
    {"/A:", false, "", "", "", ""},
    {"/A:B/C", false, "", "", "", ""},
    {"/A\tB", false, "", "", "", ""},
    {"/A\x7f", false, "", "", "", ""},
};

}  // namespace

TEST(PathSyntax, GrammarAndParts) {
    for (const PathCase& c : kPaths) {
        CPath p(c.text);
        int rc = p.normalize();
        EXPECT_EQ(rc == 0, c.valid) << "'" << c.text << "'";
        EXPECT_EQ(p.is_valid(), c.valid) << c.text;
        if (!c.valid) continue;
        EXPECT_EQ(p.str(), c.canonical) << c.text;
        EXPECT_EQ(p.getNodePath(), c.node) << c.text;
        EXPECT_EQ(p.getPathAttribute(), c.attribute) << c.text;
        EXPECT_EQ(p.getAttributePart(), c.subAttribute) << c.text;
    }
}

TEST(PathSyntax, KeepTextLeavesTheTextAlone) {
    CPath p("/A/B/");
    p.setKeepText(true);
    ASSERT_EQ(p.normalize(), 0);
    EXPECT_EQ(p.str(), "/A/B/");
    EXPECT_EQ(p.getNodePath(), "/A");
}

TEST(PathSyntax, SubPathsAndLopping) {
    CPath p("/A/B/Value");
    ASSERT_EQ(p.normalize(), 0);
    EXPECT_EQ(p.getNewPathStr("Writable"), "/A/B/Writable");
    EXPECT_EQ(p.getNewPathStr(":Units"), "/A/B/Units");
    EXPECT_EQ(p.getNewPath("/Value").str(), "/A/B/Value");
    CPath q("/A/B/Value:.Time");
    ASSERT_EQ(q.normalize(), 0);
    EXPECT_EQ(q.LopLastSubpath(), "Value");
    EXPECT_EQ(q.str(), "/A/B");
    EXPECT_EQ(q.LopLastSubpath(), "B");
    EXPECT_EQ(q.LopLastSubpath(), "A");
    EXPECT_EQ(q.str(), "/");
    EXPECT_EQ(q.LopLastSubpath(), "");
    EXPECT_EQ(q.str(), "/");
    CPath root("/");
    root.normalize();
    EXPECT_EQ(root.getNewPathStr("Devices"), "/Devices");
}

TEST(PathNodeName, KnownForms) {
    struct Case {
        const char* path;
        const char* dotted;
    } cases[] = {
        {"/Meters/M1/Volts", "Meters.M1.Volts"},
        {"/", ""},
        {"/a.b/c d", "a%2Eb.c d"},
        {"/100%/x:y", "100%25.x%3Ay"},
    };
    for (const Case& c : cases) {
        tk_string out;
        CPath::PathToNodeName(c.path, out);
        EXPECT_EQ(out, c.dotted);
        CPath::DottedPathToNodePath(c.dotted, out);
        EXPECT_EQ(out, c.path);
    }
}

// Generated paths from an alphabet rich in the characters that need escapes.
TEST(PathNodeName, ExactInversesOnGeneratedPaths) {
    std::mt19937 rng(7);
    const std::string alphabet = "ab.%: 2E5A%.-_";
    for (int i = 0; i < 3000; ++i) {
        std::string path;
        int parts = 1 + rng() % 4;
        for (int k = 0; k < parts; ++k) {
            path += '/';
            int len = 1 + rng() % 6;
            for (int j = 0; j < len; ++j) path += alphabet[rng() % alphabet.size()];
        }
        tk_string dotted, back, again;
        CPath::PathToNodeName(path, dotted);
        EXPECT_EQ(dotted.find('/'), tk_string::npos);
        CPath::DottedPathToNodePath(dotted, back);
        ASSERT_EQ(back, path) << dotted;
        CPath::PathToNodeName(back, again);
        ASSERT_EQ(again, dotted);
    }
}

TEST(TypeNames, NamesAndShortForms) {
    struct Case {
        const char* name;
        int type;
    } cases[] = {{"Boolean", 1},    {"boolean", 1},  {"bool", 1},       {"Integer", 2},
                 {"int", 2},        {"Unsigned", 3}, {"uint", 3},       {"Real", 4},
                 {"double", 4},     {"timeval", 5},  {"TIME", 5},       {"String", 6},
                 {"text", 6},       {"Float", 7},    {"Integer64", 8},  {"int64", 8},
                 {"Unsigned64", 9}, {"uint64", 9},   {"Multistate", 0}, {"", 0},
                 {"Int", 2},        {"booleans", 0}};
    for (const Case& c : cases) EXPECT_EQ(dsv_human_str_to_enum(c.name), c.type) << c.name;
    for (int t = 1; t < DATA_TYPE_COUNT; ++t) {
        ASSERT_NE(dsv_enum_to_str(t), nullptr);
        EXPECT_EQ(dsv_human_str_to_enum(dsv_enum_to_str(t)), t);
    }
    EXPECT_EQ(dsv_enum_to_str(0), nullptr);
    EXPECT_EQ(dsv_enum_to_str(99), nullptr);
}
