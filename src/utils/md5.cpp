// MD5 digests of files through the system's md5sum tool.
#include <cerrno>
#include <cstdio>
#include <string>

#include "utils.h"
#include "utils/debug_trace.h"

namespace {

// True when the name can stand between double quotes on a shell command line
// without any character being interpreted, and md5sum reads it as a file
// name (not as an option or as standard input).
bool quotable_file_name(const std::string &name) {
    if (!name.empty() && name[0] == '-') return false;
    return name.find_first_of(std::string("\"`$\\\n\r\0", 7)) == std::string::npos;
}

}  // namespace

namespace KIVEX {

extern "C" {

std::string get_md5(const std::string &filename) {
    if (!quotable_file_name(filename)) {
        QEVO_TRACE("Error: Failed to compute MD5 for %s", filename.c_str());
        return std::string();
    }
    const std::string command = "md5sum \"" + filename + "\" 2>/dev/null";
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        QEVO_TRACE("Error: popen failed");
        return std::string();
    }
    // Byte by byte, so that a read interrupted by a signal (a handler
    // installed without SA_RESTART) loses nothing and simply goes on.
    std::string result;
    for (;;) {
        const int c = std::getc(pipe);
        if (c != EOF) {
            result += static_cast<char>(c);
        } else if (std::ferror(pipe) && errno == EINTR) {
            std::clearerr(pipe);
        } else {
            break;
        }
    }
    pclose(pipe);
    if (result.size() < 32) {
        QEVO_TRACE("Error: Failed to compute MD5 for %s", filename.c_str());
        return std::string();
    }
    return result.substr(0, 32);
}

int checkMD5(std::string filename, std::string targetMD5) {
    const int ret = 0;
    const std::string filemd5 = get_md5(filename);
    if (filemd5 == targetMD5) return ret;
    QEVO_TRACE("md5 not matched, filemd5: %s, targetmd5: %s", filemd5.c_str(), targetMD5.c_str());
    return 1;
}

}  // extern "C"

}  // namespace KIVEX
