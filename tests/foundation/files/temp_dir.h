#pragma once
// A fresh folder per test, made and removed with the standard library so that the classes
// under test don't check themselves.
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "foundation/text/xstring.h"

class TestDir {
public:
    TestDir() {
        std::random_device random;
        path = std::filesystem::temp_directory_path() /
               ("tvtest-" + std::to_string(random()) + "-" + std::to_string(random()));
        std::filesystem::create_directories(path);
    }
    ~TestDir() {
        std::error_code ignored;  // a test that failed half-way may leave odd modes behind
        std::filesystem::permissions(path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path, ignored);
    }
    std::string Str(const std::string& name = "") const { return name.empty() ? path.string() : (path / name).string(); }
    XString X(const std::string& name = "") const { return XString(Str(name).c_str(), true); }
    void Put(const std::string& name, const std::string& content) const {
        std::ofstream(path / name, std::ios::binary) << content;
    }
    std::string Get(const std::string& name) const {
        std::ifstream in(path / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    bool Has(const std::string& name) const { return std::filesystem::exists(path / name); }

    std::filesystem::path path;
};
