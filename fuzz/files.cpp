// File, name and checksum helpers on generated names: savefloat2bin and the
// two loaders (round trips and size mismatches, caller buffers sized exactly),
// RawReader frame counts, GetDirNames, splitStr, splitKeyname, hash_, and
// get_md5 / checkMD5 on names full of shell syntax, after which no command
// may have run. Everything happens in a scratch directory of its own.
#include <algorithm>
#include <dirent.h>
#include <map>
#include <string>
#include <unistd.h>

#define QEVO_FUZZ_OWN_INITIALIZE
#include "fuzz_input.h"
#include "rawReader.h"
#include "utils.h"

using namespace qevo_fuzz;

namespace {

// Created by a shell if one ever runs a command taken from a name.
const char kCanary[] = "QEVO_PWNED";

std::string scratch;

void remove_scratch() {
    if (DIR *d = opendir(scratch.c_str())) {
        while (const dirent *e = readdir(d)) {
            const std::string n = e->d_name;
            if (n != "." && n != "..") unlink((scratch + "/" + n).c_str());
        }
        closedir(d);
    }
    rmdir(scratch.c_str());
}

std::string any_name(Input &in) {
    static const char *const pieces[] = {"a",
                                         "b",
                                         "x1",
                                         "_",
                                         ".",
                                         " ",
                                         "-",
                                         "'",
                                         "*",
                                         "?",
                                         "~",
                                         "\n",
                                         "\r",
                                         "\"",
                                         "\\",
                                         "..",
                                         "%s%n",
                                         "$(touch QEVO_PWNED)",
                                         "`touch QEVO_PWNED`",
                                         ";touch QEVO_PWNED;",
                                         "\";touch QEVO_PWNED;\"",
                                         "|touch QEVO_PWNED",
                                         "&&touch QEVO_PWNED",
                                         "$HOME",
                                         "!!"};
    std::string name;
    for (int i = in.in(0, 5); i > 0; --i)
        name += pieces[in.byte() % (sizeof pieces / sizeof *pieces)];
    return name;
}

std::string any_text(Input &in) {
    const std::vector<unsigned char> b = in.bytes(in.in(0, 24));
    std::string s;
    for (unsigned char c : b) s += static_cast<char>(c % 5 == 0 ? '/' : c % 7 == 0 ? '.' : c);
    return s;
}

bool plain(const std::string &name) {
    return !name.empty() && name[0] != '-' &&
           name.find_first_of(std::string("\"`$\\\n\r\0", 7)) == std::string::npos;
}

bool is_md5(const std::string &s) {
    if (s.size() != 32) return false;
    for (char c : s)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    mute_stdout();
    char tmpl[] = "/tmp/qevo_fuzz_files_XXXXXX";
    if (mkdtemp(tmpl) == nullptr || chdir(tmpl) != 0) fail("no scratch directory");
    scratch = tmpl;
    std::atexit(remove_scratch);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    std::map<std::string, std::vector<unsigned char> > saved;  // file name -> contents
    std::vector<std::string> names(in.in(1, 3));
    for (std::string &n : names) n = any_name(in);

    for (int step = 0; step < 10 && in.left() > 0; ++step) {
        const std::string &name = names[in.byte() % names.size()];
        const auto known = saved.find(name);
        const int op = in.byte() % 9;
        switch (op) {
            case 0: {
                const int len = in.in(-2, 48);
                std::vector<float> src(len > 0 ? len : 0);
                for (float &v : src) v = in.any_float(1000);
                const bool null_src = in.byte() < 16;
                const int r = KIVEX::savefloat2bin(null_src ? nullptr : src.data(), len,
                                                   const_cast<char *>(name.c_str()));
                if (r == 0) {
                    std::vector<unsigned char> bytes(null_src ? 0 : src.size() * 4);
                    if (!bytes.empty()) std::memcpy(bytes.data(), src.data(), bytes.size());
                    saved[name] = bytes;
                }
                QEVO_FUZZ_CHECK(r == 0 || r == 1);
                break;
            }
            case 1:
            case 2: {  // loaders: exactly datalen elements, or nothing written
                const bool floats = op == 1;
                const long long elem = floats ? 4 : 1;
                int len = in.in(-2, 60);
                if (known != saved.end() && in.flag())
                    len = static_cast<int>(known->second.size() / elem);
                const std::vector<unsigned char> init(static_cast<size_t>(len > 0 ? len : 0) * elem,
                                                      0xCD);
                std::vector<unsigned char> dst = init;
                const int r = floats ? KIVEX::loadbin2float(
                                           name.c_str(), reinterpret_cast<float *>(dst.data()), len)
                                     : KIVEX::loadbin2uint8(name.c_str(), dst.data(), len);
                if (known == saved.end()) {
                    QEVO_FUZZ_CHECK(r == 0 && dst == init);  // no such file: not reported
                } else if (static_cast<long long>(known->second.size()) / elem == len) {
                    QEVO_FUZZ_CHECK(r == 0 && dst == known->second);
                } else {
                    QEVO_FUZZ_CHECK(r == 1 && dst == init);
                }
                break;
            }
            case 3: {
                const int w = in.size(8), h = in.size(8), c = in.size(4), header = in.size(64);
                const QEVO::DATATYPE type = in.pick<QEVO::DATATYPE>(
                    {QEVO::AI_UINT8, QEVO::AI_INT16, QEVO::AI_UINT16, QEVO::AI_FLOAT});
                RawReader r(in.byte() < 16 ? "." : name.c_str(), w, h, c, header, type);
                const int frames = r.get_frameNum();
                const bool accepted = type != QEVO::AI_FLOAT;
                if (!accepted || r.m_F == nullptr) {
                    QEVO_FUZZ_CHECK(frames == -1 && r.m_width == 0 &&
                                    r.m_datatype == QEVO::AI_UINT8);
                    QEVO_FUZZ_CHECK(accepted || r.m_rawname.empty());
                    break;
                }
                QEVO_FUZZ_CHECK(known != saved.end() && r.m_rawname == name);
                const long long frame =
                    product({w, h, c, type == QEVO::AI_UINT8 ? 1 : 2}, LLONG_MAX);
                const long long bytes = static_cast<long long>(known->second.size());
                if (w <= 0 || h <= 0 || c <= 0 || header < 0)
                    QEVO_FUZZ_CHECK(frames == -1);
                else if (frame < 0)  // larger than any file
                    QEVO_FUZZ_CHECK(frames == 0);
                else
                    QEVO_FUZZ_CHECK(frames == (bytes <= header ? 0 : (bytes - header) / frame));
                break;
            }
            case 4: {
                std::vector<std::string> listed = {"kept"};
                QEVO_FUZZ_CHECK(KIVEX::GetDirNames(".", listed) == 0);
                QEVO_FUZZ_CHECK(listed.size() == saved.size() + 1 && listed[0] == "kept");
                for (const auto &f : saved)
                    QEVO_FUZZ_CHECK(std::count(listed.begin(), listed.end(), "./" + f.first) == 1);
                std::vector<std::string> none = {"kept"};
                if (known == saved.end() && !name.empty() && name != "." && name != "..")
                    QEVO_FUZZ_CHECK(KIVEX::GetDirNames(name, none) == -1 && none.size() == 1);
                break;
            }
            case 5: {  // splitStr: the non-empty pieces between delimiters, in order
                const std::string text = any_text(in);
                const char delim = in.pick<char>({'/', '.', ' ', '\0', 'a'});
                std::vector<std::string> tokens = {"old"};
                KIVEX::splitStr(text, tokens, delim);
                std::string joined, want;
                for (const std::string &t : tokens) {
                    QEVO_FUZZ_CHECK(!t.empty() && t.find(delim) == std::string::npos);
                    joined += t;
                }
                for (char c : text)
                    if (c != delim) want += c;
                QEVO_FUZZ_CHECK(joined == want);
                break;
            }
            case 6: {
                const std::string text = any_text(in);
                const std::string key = KIVEX::splitKeyname(text);
                QEVO_FUZZ_CHECK(key.find_first_of("/.") == std::string::npos &&
                                text.find(key) != std::string::npos);
                break;
            }
            case 7: {  // FNV-1a, 64 bits
                const std::string text = any_text(in);
                KIVEX::hash_t h = KIVEX::basis;
                for (size_t i = 0; i < text.size() && text[i] != '\0'; ++i)
                    h = (h ^ static_cast<unsigned char>(text[i])) * KIVEX::prime;
                QEVO_FUZZ_CHECK(KIVEX::hash_(text.c_str()) == h);
                break;
            }
            default: {  // md5sum runs through a shell: at most now and then
                if (in.byte() >= 48) break;
                const std::string digest = KIVEX::get_md5(name);
                QEVO_FUZZ_CHECK(digest.empty() || is_md5(digest));
                if (known != saved.end() && plain(name)) QEVO_FUZZ_CHECK(is_md5(digest));
                if (!plain(name)) QEVO_FUZZ_CHECK(digest.empty());
                QEVO_FUZZ_CHECK(KIVEX::checkMD5(name, digest) == 0);
                QEVO_FUZZ_CHECK(access(kCanary, F_OK) != 0);
                break;
            }
        }
    }
    for (const auto &f : saved) unlink(f.first.c_str());
    QEVO_FUZZ_CHECK(access(kCanary, F_OK) != 0);
    return 0;
}
