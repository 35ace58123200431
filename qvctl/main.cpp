// qvctl: the controller's side of qvagent on the command line.
#include "command_line.h"
#include "configuration.h"
#include "generate.h"
#include "terminal.h"

#include <cstdio>

int main(int argc, char** argv) {
    using namespace qvctl;
    try {
        CommandLine line;
        read_configuration(line.app);
        try {
            line.app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return line.app.exit(error) == 0 ? ANSWERED : USAGE;
        }
        if (!line.generated.empty()) {
            const std::string text =
                line.generated == "man" ? man_page(line) : bash_completion(line);
            fputs(text.c_str(), stdout);
            check_output();
            return ANSWERED;
        }
        if (!line.run) {
            fputs(line.app.help().c_str(), stderr);
            return USAGE;
        }
        const ExitStatus status = line.run();
        check_output();
        return status;
    } catch (const Failure& failure) {
        fprintf(stderr, "qvctl: %s\n", failure.what());
        return failure.status;
    } catch (const std::exception& error) {
        fprintf(stderr, "qvctl: %s\n", error.what());
        return REFUSED;
    }
}
