#pragma once
// A host program run end to end in a temporary folder: <root>/run is its run folder (links to the
// build's modules/ and data/), saves go to <root>/Zendola-data, output to <root>/<name>.out/.err.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../TestFiles.h"

class HostProcess : public ::testing::Test {
protected:
    HostProcess(std::string program, std::string prefix) : _program(std::move(program)), _prefix(std::move(prefix)) {}

    void SetUp() override {
        std::string pattern = "/tmp/" + _prefix + "-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root = pattern;
        run = root / "run";
        std::filesystem::create_directories(run);
        std::filesystem::create_directory_symlink(std::filesystem::path(ZENDOLA_BINARY_DIR) / "modules",
                                                  run / "modules");
        std::filesystem::create_directory_symlink(std::filesystem::path(ZENDOLA_BINARY_DIR) / "data", run / "data");
        saves = root / "Zendola-data" / "server" / "worlds" / "demo" / "entities";
    }
    void TearDown() override { std::filesystem::remove_all(root); }

    // Starts the program with the run folder and `args`; `env` is set (or, for nullopt, unset)
    // in the child only.
    pid_t Start(const std::string& name, std::vector<std::string> args) {
        args.insert(args.begin(), {_program, "--dir", run.string()});
        std::string out = (root / (name + ".out")).string(), err = (root / (name + ".err")).string();
        pid_t pid = fork();
        if (pid == 0) {
            int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(o, 1);
            dup2(e, 2);
            for (const auto& [key, value] : env) {
                if (value)
                    setenv(key.c_str(), value->c_str(), 1);
                else
                    unsetenv(key.c_str());
            }
            std::vector<char*> argv;
            for (std::string& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        return pid;
    }
    // Waits for the process; its exit status, or 128 + signal.
    static int Wait(pid_t pid) {
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    int RunToEnd(const std::string& name, const std::vector<std::string>& args) { return Wait(Start(name, args)); }
    std::string Out(const std::string& name) { return testfiles::ReadAll(root / (name + ".out")); }
    std::string Err(const std::string& name) { return testfiles::ReadAll(root / (name + ".err")); }

    // Polls the output of `name` until `found` accepts one of its lines (up to two minutes).
    bool WaitForLine(const std::string& name, const std::function<bool(const std::string&)>& found) {
        for (int i = 0; i < 1200; ++i) {
            std::istringstream lines(Out(name));
            for (std::string line; std::getline(lines, line);)
                if (found(line)) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    bool WaitForTicks(const std::string& name, unsigned long ticks) {
        return WaitForLine(name, [&](const std::string& line) {
            unsigned long n = 0;
            return std::sscanf(line.c_str(), "tick %lu |", &n) == 1 && n >= ticks;
        });
    }

    // Every file of the save folder with its bytes.
    std::map<std::string, std::string> SaveFiles() const {
        std::map<std::string, std::string> files;
        if (std::filesystem::is_directory(saves))
            for (const auto& e : std::filesystem::directory_iterator(saves))
                files[e.path().filename().string()] = testfiles::ReadAll(e.path());
        return files;
    }

    std::filesystem::path root, run, saves;
    std::map<std::string, std::optional<std::string>> env;

private:
    std::string _program, _prefix;
};
