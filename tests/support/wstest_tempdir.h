// A private temporary folder for one test, removed with everything in it
// when the object goes. The one temporary-folder helper of every test binary.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace wstest {

class TempDir {
  public:
    // In `base` when that folder exists (a memory-backed one for tests that
    // commit thousands of times), else in the system's temporary folder.
    explicit TempDir(const char* prefix = "wstest", const char* base = nullptr) {
        std::error_code ec;
        const std::filesystem::path root = base && std::filesystem::is_directory(base, ec)
                                               ? std::filesystem::path(base)
                                               : std::filesystem::temp_directory_path();
        std::string templ = (root / (std::string(prefix) + "-XXXXXX")).string();
        std::vector<char> buf(templ.begin(), templ.end());
        buf.push_back('\0');
        if (!mkdtemp(buf.data())) throw std::runtime_error("cannot create a temporary folder");
        m_path = buf.data();
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

}  // namespace wstest
