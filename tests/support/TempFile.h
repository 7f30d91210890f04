// A private directory for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "pallix-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    // Writes the bytes and returns the file's path.
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(File(name), std::ios::binary) << bytes;
        return File(name);
    }
    std::string Read(const std::string& name) const {
        std::ifstream in(File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::string m_path;
};
