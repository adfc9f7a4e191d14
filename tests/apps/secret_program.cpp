// The command as a program of its own, to be run on a terminal and in a pipe.
#include "apps/tsyncfinder/secret_command.h"
#include "backends/secret/secret_service.h"

int main(int argc, char** argv) {
    CLI::App program;
    int exitStatus = 0;
    apps::tsyncfinder::addSecretCommand(program, backends::secret::makeSecretService, exitStatus);
    CLI11_PARSE(program, argc, argv);
    return exitStatus;
}
