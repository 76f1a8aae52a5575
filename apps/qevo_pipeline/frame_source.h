// Where the frames come from: the built-in scene, a raw NV12 file opened with
// RawReader, or plain grey frames when only detections are given.
#ifndef QEVO_PIPELINE_FRAME_SOURCE_H
#define QEVO_PIPELINE_FRAME_SOURCE_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "scene.h"

class RawReader;

namespace pipeline {

// Largest frame width or height the program takes: --size, seqinfo.ini and
// the extent of the boxes are held to it.
const int kMaxFrameSide = 16384;

class FrameSource {
  public:
    virtual ~FrameSource() = default;
    virtual int count() const = 0;
    // Fills `nv12` with frame `frame` (1-based). False with a message on error.
    virtual bool read(int frame, std::vector<uint8_t> &nv12, std::string &error) = 0;
};

class SceneSource : public FrameSource {
  public:
    explicit SceneSource(const Scene &scene) : scene_(scene) {}
    int count() const override { return scene_.config().frames; }
    bool read(int frame, std::vector<uint8_t> &nv12, std::string &error) override;

  private:
    const Scene &scene_;
};

// Stand-in frames for runs without recorded frames. The NV12 path needs even
// sizes of at least 16, so the frames are the given size rounded up to that.
class GreySource : public FrameSource {
  public:
    GreySource(int width, int height, int frames)
        : w_(std::max(16, width + width % 2)), h_(std::max(16, height + height % 2)), n_(frames) {}
    int width() const { return w_; }
    int height() const { return h_; }
    int count() const override { return n_; }
    bool read(int frame, std::vector<uint8_t> &nv12, std::string &error) override;

  private:
    int w_, h_, n_;
};

// Frames of width x height x 3 / 2 bytes after a header of `header` bytes.
class RawFileSource : public FrameSource {
  public:
    // Returns null with a message when the file does not open, is shorter
    // than its header, holds no frame, or its size after the header is not a
    // whole number of frames.
    static std::unique_ptr<RawFileSource> open(const std::string &path, int width, int height,
                                               long header, std::string &error);
    ~RawFileSource() override;
    int count() const override { return frames_; }
    bool read(int frame, std::vector<uint8_t> &nv12, std::string &error) override;

  private:
    RawFileSource() = default;
    std::unique_ptr<RawReader> reader_;
    std::string path_;
    long header_ = 0;
    long frame_bytes_ = 0;
    int frames_ = 0;
};

}  // namespace pipeline

#endif
