// Helpers shared by the test programs.
#ifndef QEVO_TESTS_SUPPORT_H
#define QEVO_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace qevo_test {

// Runs the enclosing scope in a fresh, empty temporary directory (the marker
// files ./AI_DEBUG and ./AI_WRITE are looked up in the working directory),
// and returns to the previous directory afterwards.
class ScratchDir {
public:
    ScratchDir() {
        char old[PATH_MAX];
        if (getcwd(old, sizeof old) != nullptr) old_ = old;
        char tmpl[] = "/tmp/qevo_test_XXXXXX";
        const char *made = mkdtemp(tmpl);
        if (made != nullptr) path_ = made;
        EXPECT_FALSE(path_.empty());
        EXPECT_EQ(0, chdir(path_.c_str()));
    }
    ~ScratchDir() {
        if (!old_.empty() && chdir(old_.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_;
        if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
    }
    const std::string &path() const { return path_; }

private:
    std::string old_;
    std::string path_;
};

// Creates (on = true) or deletes the marker file `name` in the working directory.
inline void set_marker(const char *name, bool on) {
    if (on) {
        FILE *fp = std::fopen(name, "w");
        ASSERT_NE(fp, nullptr);
        std::fclose(fp);
    } else {
        std::remove(name);
    }
}

// Captures what the code under test prints to standard output.
template <typename F>
std::string capture_stdout(F &&f) {
    std::fflush(stdout);
    testing::internal::CaptureStdout();
    f();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

}  // namespace qevo_test

#endif  // QEVO_TESTS_SUPPORT_H
