// Directory listing and headerless binary files.
#include <climits>
#include <cstdio>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "utils.h"

namespace {

// Opens `name` for binary reading and tells its size in bytes. Returns null
// when the name does not open as a readable file (directories included, as
// their size means nothing here).
FILE *open_for_size(const char *name, long long &size) {
    if (name == nullptr) return nullptr;
    FILE *fp = std::fopen(name, "rb");
    if (fp == nullptr) return nullptr;
    struct stat st;
    if (fstat(fileno(fp), &st) != 0 || S_ISDIR(st.st_mode) || std::fseek(fp, 0, SEEK_END) != 0) {
        std::fclose(fp);
        return nullptr;
    }
    const long pos = std::ftell(fp);
    if (pos < 0) {
        std::fclose(fp);
        return nullptr;
    }
    size = pos;
    return fp;
}

// Shared body of the two loaders: the file must hold `datalen` elements of
// `elem` bytes (size / elem, truncated); then they are read into `dst`.
int load_elements(const char *binname, void *dst, int datalen, long long elem) {
    long long size = 0;
    FILE *fp = open_for_size(binname, size);
    if (fp == nullptr) return 0;
    // Sizes of 2 GiB and more are not supported: they never match.
    const int fdatalen = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    if (size > INT_MAX || fdatalen / elem != datalen) {
        std::printf("filesize=%d not match datalen =%d\n", fdatalen, datalen);
        std::fclose(fp);
        return 1;
    }
    if (datalen > 0 && dst == nullptr) {
        std::fclose(fp);
        return 1;
    }
    std::fseek(fp, 0, SEEK_SET);
    if (datalen > 0) {
        const size_t got =
            std::fread(dst, static_cast<size_t>(elem), static_cast<size_t>(datalen), fp);
        (void)got;  // a short read leaves the rest of dst as it was
    }
    std::fclose(fp);
    return 0;
}

}  // namespace

namespace KIVEX {

extern "C" {

int GetDirNames(std::string dirpath, std::vector<std::string> &filenames) {
    DIR *dir = opendir(dirpath.c_str());
    if (dir == nullptr) {
        std::printf("dripath not exist, path: %s\n", dirpath.c_str());
        return -1;
    }
    while (const struct dirent *entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        filenames.push_back(dirpath + "/" + name);
    }
    closedir(dir);
    return 0;
}

int loadbin2float(const char *binname, float *dst, int datalen) {
    return load_elements(binname, dst, datalen, 4);
}

int loadbin2uint8(const char *binname, unsigned char *dst, int datalen) {
    return load_elements(binname, dst, datalen, 1);
}

int savefloat2bin(float *src, int datalen, char *dstname) {
    FILE *fp = dstname != nullptr ? std::fopen(dstname, "wb") : nullptr;
    if (fp == nullptr) {
        std::printf("file %s open failed\n", dstname != nullptr ? dstname : "(null)");
        return 1;
    }
    if (src != nullptr && datalen > 0) {
        std::fwrite(src, 4, static_cast<size_t>(datalen), fp);
    }
    std::fclose(fp);
    return 0;
}

}  // extern "C"

}  // namespace KIVEX
