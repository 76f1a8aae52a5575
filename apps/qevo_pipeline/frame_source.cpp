#include "frame_source.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "rawReader.h"

namespace pipeline {

bool SceneSource::read(int frame, std::vector<uint8_t> &nv12, std::string &) {
    scene_.render(frame, nv12);
    return true;
}

bool GreySource::read(int, std::vector<uint8_t> &nv12, std::string &) {
    const size_t luma = static_cast<size_t>(w_) * h_;
    nv12.assign(static_cast<size_t>(QEVO::yuv420sp_size(w_, h_)), 128);
    std::fill(nv12.begin(), nv12.begin() + static_cast<long>(luma), 110);
    return true;
}

std::unique_ptr<RawFileSource> RawFileSource::open(const std::string &path, int width, int height,
                                                   long header, std::string &error) {
    if (header > INT_MAX) {
        error = "--header " + std::to_string(header) + " is too large";
        return nullptr;
    }
    std::unique_ptr<RawFileSource> src(new RawFileSource());
    src->path_ = path;
    src->header_ = header;
    src->frame_bytes_ = QEVO::yuv420sp_size(width, height);
    src->reader_.reset(
        new RawReader(path.c_str(), width, height, 1, static_cast<int>(header), QEVO::AI_UINT8));
    if (src->reader_->m_F == nullptr) {
        error = "cannot open frames file '" + path + "': " + std::strerror(errno);
        return nullptr;
    }
    struct stat st {};
    if (fstat(fileno(src->reader_->m_F), &st) != 0 || !S_ISREG(st.st_mode)) {
        error = "frames file '" + path + "' is not a regular file";
        return nullptr;
    }
    const long long size = st.st_size;
    const std::string geometry = std::to_string(width) + "x" + std::to_string(height);
    if (size < header) {
        error = "frames file '" + path + "' (" + std::to_string(size) +
                " bytes) is shorter than its " + std::to_string(header) + "-byte header";
        return nullptr;
    }
    const long long body = size - header;
    if (body == 0 || body % src->frame_bytes_ != 0) {
        error = "frames file '" + path + "' does not match --size " + geometry + ": " +
                std::to_string(body) + " bytes after the header is not a whole number of " +
                std::to_string(src->frame_bytes_) + "-byte NV12 frames";
        return nullptr;
    }
    if (body / src->frame_bytes_ > INT_MAX) {
        error = "frames file '" + path + "' holds too many frames";
        return nullptr;
    }
    src->frames_ = static_cast<int>(body / src->frame_bytes_);
    return src;
}

RawFileSource::~RawFileSource() = default;

bool RawFileSource::read(int frame, std::vector<uint8_t> &nv12, std::string &error) {
    nv12.resize(static_cast<size_t>(frame_bytes_));
    FILE *f = reader_->m_F;
    const off_t pos = static_cast<off_t>(header_) + static_cast<off_t>(frame - 1) * frame_bytes_;
    if (frame < 1 || frame > frames_ || fseeko(f, pos, SEEK_SET) != 0 ||
        std::fread(nv12.data(), 1, nv12.size(), f) != nv12.size()) {
        error = "cannot read frame " + std::to_string(frame) + " of '" + path_ + "'";
        return false;
    }
    return true;
}

}  // namespace pipeline
