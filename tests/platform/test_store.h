// Test fixture helpers: a fresh store file in a private temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "cds_api.h"
#include "wstest_tempdir.h"

using wstest::TempDir;

// A store on a new file, opened through CCds.
class StoreTest : public ::testing::Test {
  protected:
    StoreTest() : m_file(m_dir.file("cds.db")), cds(m_file) {}
    // Writes a value and asserts success.
    void put(const std::string& path, const toolkit::CElement& v);
    void mk(const std::string& path);
    // Reads a leaf; returns its status code.
    int get(const std::string& path, toolkit::CElement& v);
    int get(const std::string& path) {
        toolkit::CElement v;
        return get(path, v);
    }
    std::string text(const std::string& path);

    TempDir m_dir;
    std::string m_file;
    toolkit::CCds cds;
};
