// The mim command's process: its signals, and its end.

#include <csignal>

#include "commands.h"

int main(int argc, char **argv) {
    // A reader that goes away and a file that may not grow are writes that fail, and are reported as such.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    tool::Session session;
    if (tool::protect([&] { tool::run_command(argc, argv, session); }) != 0) {
        er_identity failure{};
        er_LastFailure(&failure);
        session.note(tool::Exit::kFailed);
        session.report("error", tool::describe(failure));
    }
    return static_cast<int>(session.finish());
}
