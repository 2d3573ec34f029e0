// The message of a program whose arguments are wrong.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace corvane {

/// One line that says which argument is wrong and where to find help: "unknown option '--bogus'; see corvaned --help".
/// CLI11's own message names what is missing first, which misleads if an argument is misspelt.
/// @param app    after it has thrown the error
/// @param error  not one of success (--help, --version)
std::string usageMessage(const CLI::App& app, const CLI::ParseError& error);

}  // namespace corvane
