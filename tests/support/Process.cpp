#include "support/Process.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <memory>

namespace vesk::test {

CommandResult runCommand(const std::string& command) {
    CommandResult result;
    struct PipeCloser {
        int* status;
        void operator()(FILE* pipe) const { *status = ::pclose(pipe); }
    };
    int status = -1;
    {
        std::unique_ptr<FILE, PipeCloser> pipe(::popen(command.c_str(), "r"), PipeCloser{&status});
        if (!pipe) return result;
        std::array<char, 65536> buffer{};
        size_t read = 0;
        while ((read = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0)
            result.output.append(buffer.data(), read);
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

}  // namespace vesk::test
