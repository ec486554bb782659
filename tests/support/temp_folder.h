#pragma once
// A fresh folder per test, made and removed with the standard library so that the classes
// under test never check themselves.
#include <filesystem>
#include <random>
#include <string>

#include "support/bytes.h"

namespace tvtest {

class TempFolder {
public:
    explicit TempFolder(const std::string& tag = "tvtest") {
        std::random_device random;
        path = std::filesystem::temp_directory_path() /
               (tag + "-" + std::to_string(random()) + "-" + std::to_string(random()));
        std::filesystem::create_directories(path);
    }
    ~TempFolder() {
        std::error_code ignored;  // a test that failed half-way may leave odd modes behind
        std::filesystem::permissions(path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }
    std::string Str(const std::string& name = "") const {
        return name.empty() ? path.string() : (path / name).string();
    }
    void Put(const std::string& name, std::string_view content) const { WriteBytes(path / name, content); }
    std::string Get(const std::string& name) const { return ReadBytes(path / name); }
    bool Has(const std::string& name) const { return std::filesystem::exists(path / name); }

    std::filesystem::path path;
};

}  // namespace tvtest
