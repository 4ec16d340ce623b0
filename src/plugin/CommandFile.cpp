#include "plugin/RequestDispatcher.h"

#include "common/CommandFileLines.h"
#include "common/FileTools.h"
#include "common/Logging.h"

#include <fstream>

namespace Vesk::Crypto {

std::string executeCommandsFromFile(const std::string& path) {
    initLogger();
    VLOG_INFO << "[F] executeCommandsFromFile: " << path;
    if (!fstools::pathExists(path)) {
        VLOG_ERROR << "File: " << path << " is not exists!";
        return {};
    }
    // Only a regular file is read: a FIFO would block the host.
    if (!fstools::isRegularFile(path)) {
        VLOG_ERROR << "File: " << path << " is not a regular file!";
        return {};
    }
    std::ifstream in(path, std::ios::binary);
    std::string answers;
    std::string line;
    while (std::getline(in, line)) {
        if (isCommandFileComment(line)) continue;
        std::string answer;
        executeJsonRequest(line, answer);
        answers += answer;
        answers += "\n\n";
    }
    return answers;
}

}  // namespace Vesk::Crypto
