// zendola-client: the game a person plays. See ClientHost.h for the run.

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "ClientHost.h"
#include "ClientOptions.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    host::ClientParseResult parsed = host::ParseClientOptions(args);
    if (!parsed.error.empty()) {
        std::cerr << "zendola-client: " << parsed.error << "\n"
                  << "Try 'zendola-client --help' for the options." << std::endl;
        return 2;
    }
    host::ClientOptions options = parsed.options;
    if (options.version) {
        std::cout << "zendola-client " << ZENDOLA_VERSION << "\n";
        return 0;
    }
    if (options.help) {
        std::cout << host::ClientUsage("zendola-client");
        return 0;
    }
    if (options.server.directory.empty()) {
        // The build puts the program beside its modules/ folder.
        std::error_code ec;
        std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
        options.server.directory = ec ? std::string(".") : self.parent_path().string();
    }
    try {
        host::ClientHost client(options, std::cout, std::cerr);
        return client.Run();
    } catch (const std::exception& e) {
        // A module that throws while starting or stopping: the world is not saved by this run.
        std::cerr << "zendola-client: stopped by an error: " << e.what() << std::endl;
        return 1;
    }
}
