// The command-line contract every tool keeps: errors are one line on standard error,
// "TOOL: FILE: PLACE: MESSAGE" (or "TOOL: MESSAGE" where no file is involved); status 1 when a
// file the user named is unusable, 2 when the command line itself is wrong (including what
// the command-line parser rejects); --help and --version print and give 0.
#pragma once

#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include <kestrel/kestrel.h>

namespace kestrel::tools {

constexpr int kExitBadInput = 1;
constexpr int kExitBadUsage = 2;

// A command line that cannot be carried out as written.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline std::string versionLine(const char* tool) {
    return std::string(tool) + " " KESTREL_VERSION " (shader API " + std::to_string(ksi::kApiVersion) + ")";
}

// Parses argv into the app; returns the status to exit with when the program should stop
// (help, version, or a usage error already reported), nothing when it should go on.
inline std::optional<int> parseCommandLine(CLI::App& app, const char* tool, int argc, char** argv) {
    app.set_version_flag("--version", versionLine(tool));
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& done) {
        return app.exit(done);
    } catch (const CLI::ParseError& error) {
        std::cerr << tool << ": " << error.what() << " (see --help)\n";
        return kExitBadUsage;
    }
    return std::nullopt;
}

}  // namespace kestrel::tools
