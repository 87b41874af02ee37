// Linked into the programs of a coverage build only: a process that ends in
// abort() would lose its counters, so the abort signal writes them first.
#include <csignal>

extern "C" void __gcov_dump();

namespace {
void flushThenAbort(int signal) {
    __gcov_dump();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
const bool installed = (std::signal(SIGABRT, flushThenAbort), true);
}  // namespace
