// String splitting, key names and the FNV-1a string hash.
#include <cstdio>
#include <string>
#include <vector>

#include "utils.h"

namespace KIVEX {

extern "C" {

void splitStr(const std::string &str, std::vector<std::string> &tokens, char delim) {
    tokens.clear();
    size_t start = 0;
    while (start < str.size()) {
        size_t end = str.find(delim, start);
        if (end == std::string::npos) end = str.size();
        if (end > start) tokens.emplace_back(str, start, end - start);
        start = end + 1;
    }
}

std::string splitKeyname(std::string imgname) {
    std::vector<std::string> strs;
    splitStr(imgname, strs, '/');
    if (strs.empty()) return std::string();
    const std::string &last = strs.back();
    std::printf("imgname: %s\n", last.c_str());
    std::vector<std::string> keys;
    splitStr(last, keys, '.');
    if (keys.empty()) return std::string();
    return keys.front();
}

hash_t hash_(const char *str) {
    hash_t hash = basis;
    if (str == nullptr) return hash;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(str); *p != 0; ++p) {
        hash ^= *p;
        hash *= prime;
    }
    return hash;
}

}  // extern "C"

}  // namespace KIVEX
