#pragma once
// Runs the built tools (and Debian's) through the shell, as a user would, with the outputs
// caught as bytes.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/wait.h>
#endif
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace tvtest {

// The path of a tool built into the program folder.
inline std::string ToolPath(const std::string& name) { return std::string(TV_BIN_DIR) + "/" + name; }

inline std::string ShellQuote(const std::string& arg) {
    std::string out = "'";
    for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}
inline std::string ShellLine(const std::vector<std::string>& args) {
    std::string line;
    for (const auto& a : args) line.append(line.empty() ? "" : " ").append(ShellQuote(a));
    return line;
}

struct RunResult {
    int status = -1;  // the exit status, or -1 when the command did not end normally
    std::string out;
    std::string err;
};

// Runs a shell command line in folder; standard output and error are kept there as out.bin and
// err.bin. input is the redirection of standard input.
inline RunResult RunIn(const std::filesystem::path& folder, const std::string& command,
                       const std::string& input = "</dev/null") {
    const std::string line = "cd " + ShellQuote(folder.string()) + " && ( " + command + " ) >out.bin 2>err.bin " +
                             input + "; echo $? >rc.txt";
    EXPECT_EQ(std::system(line.c_str()), 0) << line;
    RunResult r;
    const std::string rc = ReadBytes(folder / "rc.txt");
    r.status = rc.empty() ? -1 : std::stoi(rc);
    r.out = ReadBytes(folder / "out.bin");
    r.err = ReadBytes(folder / "err.bin");
    return r;
}

// Standard output and exit status of a shell command line; standard error goes to the test's.
inline RunResult Capture(const std::string& command) {
    RunResult r;
#ifdef _WIN32
    FILE* pipe = _popen(command.c_str(), "rb");
#else
    FILE* pipe = popen(command.c_str(), "r");
#endif
    if (pipe == nullptr) return r;
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.out.append(buffer, got);
#ifdef _WIN32
    r.status = _pclose(pipe);  // the command's exit code as it is
#else
    const int raw = pclose(pipe);
    r.status = raw >= 0 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#endif
    return r;
}

}  // namespace tvtest
