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
    explicit TempDir(const char* prefix = "wstest") {
        std::string templ =
            (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
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
