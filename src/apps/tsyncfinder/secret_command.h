// The command "secret": a person uses and checks the entries of the desktop's secret store.
//
// Exit status 0 on success, 1 on failure; for "exists" 0 means yes, 1 no, and 2 that it could not be told.
// What failed is said on standard error. Passwords come from standard input and go to standard output,
// nowhere else.
#pragma once

#include "platform/SecretStore.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>

namespace apps::tsyncfinder {

// Adds the command with its subcommands to the program's. The exit status is borrowed until the arguments
// are parsed; the store is made when a subcommand runs, and may be null.
void addSecretCommand(CLI::App& program, std::function<std::unique_ptr<platform::SecretStore>()> makeStore,
                      int& exitStatus);

} // namespace apps::tsyncfinder
