// zelcfg: reads, changes and checks configuration files from the shell.
#include <csignal>
#include <iostream>

#include "Zelcfg.h"

int main(int argc, char** argv)
{
    // A file size limit must fail the write (EFBIG), not kill the tool
    // half-way through a save.
    std::signal(SIGXFSZ, SIG_IGN);

    zelcfg::Invocation invocation;
    std::string error;
    if (!zelcfg::ParseCommandLine(argc, argv, invocation, error)) {
        std::cerr << "zelcfg: " << error << "\nTry 'zelcfg --help'.\n";
        return zelcfg::kExitFailure;
    }
    return zelcfg::RunInvocation(invocation);
}
