// zendola-server: the dedicated server host of the library. See ServerHost.h for the run.

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "ServerHost.h"
#include "ServerOptions.h"
#include "StopSignal.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    host::ParseResult parsed = host::ParseServerOptions(args);
    if (!parsed.error.empty()) {
        std::cerr << "zendola-server: " << parsed.error << "\n"
                  << "Try 'zendola-server --help' for the options." << std::endl;
        return 2;
    }
    host::ServerOptions options = parsed.options;
    if (options.version) {
        std::cout << "zendola-server " << ZENDOLA_VERSION << "\n";
        return 0;
    }
    if (options.help) {
        std::cout << host::ServerUsage("zendola-server");
        return 0;
    }
    if (options.directory.empty()) {
        // The build puts the program beside its modules/ folder.
        std::error_code ec;
        std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
        options.directory = ec ? std::string(".") : self.parent_path().string();
    }
    host::InstallStopHandlers();
    host::ServerHost server(options, std::cout, std::cerr);
    try {
        return server.Run();
    } catch (const std::exception& e) {
        // A module that throws while starting or stopping: the world is not saved by this run.
        std::cerr << "zendola-server: stopped by an error: " << e.what() << std::endl;
        return 1;
    }
}
