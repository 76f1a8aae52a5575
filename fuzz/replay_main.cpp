// Runs a fuzz target without libFuzzer: every file named on the command line,
// and every file inside each directory named there, is one input. Built with
// the tests so that the committed seeds and crash reproducers are replayed in
// every build (normal, sanitizer, aarch64 under qemu).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

void collect(const std::string &path, std::vector<std::string> &files) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return;  // a directory not there is an empty one
    if (!S_ISDIR(st.st_mode)) {
        files.push_back(path);
        return;
    }
    std::vector<std::string> inside;
    if (DIR *d = opendir(path.c_str())) {
        while (const dirent *e = readdir(d)) {
            if (e->d_name[0] != '.') inside.push_back(path + "/" + e->d_name);
        }
        closedir(d);
    }
    std::sort(inside.begin(), inside.end());
    files.insert(files.end(), inside.begin(), inside.end());
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) collect(argv[i], files);
    // Read everything first: a target may change the working directory.
    std::vector<std::vector<uint8_t> > inputs;
    for (const std::string &f : files) {
        std::ifstream in(f, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
    for (size_t i = 0; i < files.size(); ++i) {
        std::fprintf(stderr, "replay %s (%zu bytes)\n", files[i].c_str(), inputs[i].size());
        LLVMFuzzerTestOneInput(inputs[i].data(), inputs[i].size());
    }
    std::fprintf(stderr, "%zu inputs replayed\n", files.size());
    return files.empty() ? 1 : 0;
}
