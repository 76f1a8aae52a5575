// Raw frame file handle.
#include "rawReader.h"

#include <climits>
#include <sys/stat.h>

#include "utils/debug_trace.h"

RawReader::RawReader(const char *rawfile, int width, int height, int channel, int headerLEN,
                     QEVO::DATATYPE datatype)
    : m_frameNum(0),
      m_rawname(),
      m_F(nullptr),
      m_width(0),
      m_height(0),
      m_channel(0),
      m_headerLEN(0),
      m_datatype(QEVO::AI_UINT8) {
    if (datatype != QEVO::AI_UINT8 && datatype != QEVO::AI_UINT16 && datatype != QEVO::AI_INT16) {
        QEVO_TRACE("RawReader only support uint8/uint16/int16");
        return;
    }
    if (rawfile != nullptr) {
        m_rawname = rawfile;
        m_F = std::fopen(rawfile, "rb");
        // fopen succeeds on a directory, but no frame can ever be read from
        // one: it counts as a file that does not open.
        struct stat st;
        if (m_F != nullptr && (fstat(fileno(m_F), &st) != 0 || S_ISDIR(st.st_mode))) {
            std::fclose(m_F);
            m_F = nullptr;
        }
    }
    if (m_F == nullptr) {
        QEVO_TRACE("rawfile open failed");
        return;
    }
    m_width = width;
    m_height = height;
    m_channel = channel;
    m_headerLEN = headerLEN;
    m_datatype = datatype;
}

RawReader::~RawReader() {
    if (m_F != nullptr) {
        std::fclose(m_F);
        m_F = nullptr;
    }
}

int RawReader::get_frameNum() {
    if (m_F == nullptr || m_headerLEN < 0) return -1;
    const long long element = m_datatype == QEVO::AI_UINT8 ? 1 : 2;
    const long long w = m_width, h = m_height, c = m_channel;
    if (w <= 0 || h <= 0 || c <= 0) return -1;
    // A frame too large for 64 bits is larger than any file: no whole frame.
    const long long limit = LLONG_MAX / element;
    if (w > limit / h || w * h > limit / c) return 0;  // larger than any file
    const long long frame = w * h * c * element;
    struct stat st;
    if (fstat(fileno(m_F), &st) != 0) return -1;  // size read without moving the position
    const long long size = st.st_size;
    if (size <= m_headerLEN) return 0;
    const long long frames = (size - m_headerLEN) / frame;
    return frames > INT_MAX ? INT_MAX : static_cast<int>(frames);
}

int RawReader::set_seek() { return -1; }

int RawReader::read() { return -1; }
