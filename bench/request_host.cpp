// request_host: a minimal host for timing the module. It loads libVeskCrypto through its exported
// factory, as the editor does, sends one request read from a file and writes the answer, taken
// straight from the plugin's result buffer, to a file.
//
//   request_host LIBRARY REQUEST_FILE ANSWER_FILE
//
// Exit status: 0 when the answer's "error" is null, 1 when it is not, 2 on a usage or loading error.

#include <vesk/VeskCrypto.h>

#include <boost/dll/shared_library.hpp>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

bool readWhole(const char* path, std::string& text) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return false;
    text.resize(static_cast<size_t>(in.tellg()));
    in.seekg(0);
    return static_cast<bool>(in.read(text.data(), static_cast<std::streamsize>(text.size())));
}

bool endsWith(const char* text, size_t length, const char* tail) {
    const size_t size = std::strlen(tail);
    return length >= size && std::memcmp(text + length - size, tail, size) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: request_host LIBRARY REQUEST_FILE ANSWER_FILE\n";
        return 2;
    }
    try {
        boost::dll::shared_library library(argv[1], boost::dll::load_mode::rtld_now);
        using Factory = boost::shared_ptr<VeskCryptoPlugin>();
        auto plugin = (*library.get<Factory*>("createVeskCrypto"))();

        std::string request;
        if (!readWhole(argv[2], request)) {
            std::cerr << "request_host: cannot read " << argv[2] << "\n";
            return 2;
        }
        plugin->executeRequest(request.data(), request.size());
        std::string().swap(request);  // the editor drops its request once answered

        const char* answer = plugin->getResultString();
        const size_t length = plugin->getResultLength();
        std::FILE* out = std::fopen(argv[3], "wb");
        if (out == nullptr || std::fwrite(answer, 1, length, out) != length || std::fclose(out) != 0) {
            std::cerr << "request_host: cannot write " << argv[3] << "\n";
            return 2;
        }
        return endsWith(answer, length, "\"error\":null}") ? 0 : 1;
    } catch (const std::exception& e) {
        std::cerr << "request_host: " << e.what() << "\n";
        return 2;
    }
}
