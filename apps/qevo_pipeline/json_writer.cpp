#include "json_writer.h"

#include <cmath>
#include <cstdio>

namespace pipeline {

std::string JsonWriter::quote(const std::string &s) {
    std::string o = "\"";
    for (unsigned char c : s) {
        switch (c) {
            case '"':
                o += "\\\"";
                break;
            case '\\':
                o += "\\\\";
                break;
            case '\n':
                o += "\\n";
                break;
            case '\t':
                o += "\\t";
                break;
            case '\r':
                o += "\\r";
                break;
            default:
                if (c < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", c);
                    o += buf;
                } else {
                    o += static_cast<char>(c);
                }
        }
    }
    return o + "\"";
}

void JsonWriter::prefix(const char *key) {
    if (!first_.empty()) {
        if (!first_.back()) out_ += ",";
        first_.back() = false;
        out_ += "\n" + std::string(2 * first_.size(), ' ');
    }
    if (key != nullptr) out_ += quote(key) + ": ";
}

JsonWriter &JsonWriter::begin_object(const char *key) {
    prefix(key);
    out_ += "{";
    first_.push_back(true);
    return *this;
}

JsonWriter &JsonWriter::end_object() {
    const bool empty = first_.back();
    first_.pop_back();
    if (!empty) out_ += "\n" + std::string(2 * first_.size(), ' ');
    out_ += "}";
    if (first_.empty()) out_ += "\n";
    return *this;
}

JsonWriter &JsonWriter::begin_array(const char *key) {
    prefix(key);
    out_ += "[";
    first_.push_back(true);
    return *this;
}

JsonWriter &JsonWriter::end_array() {
    const bool empty = first_.back();
    first_.pop_back();
    if (!empty) out_ += "\n" + std::string(2 * first_.size(), ' ');
    out_ += "]";
    return *this;
}

JsonWriter &JsonWriter::value(const char *key, double v) {
    prefix(key);
    if (!std::isfinite(v)) {
        out_ += "null";
    } else {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.6g", v);
        out_ += buf;
    }
    return *this;
}

JsonWriter &JsonWriter::value(const char *key, long v) {
    prefix(key);
    out_ += std::to_string(v);
    return *this;
}

JsonWriter &JsonWriter::value(const char *key, bool v) {
    prefix(key);
    out_ += v ? "true" : "false";
    return *this;
}

JsonWriter &JsonWriter::value(const char *key, const std::string &v) {
    prefix(key);
    out_ += quote(v);
    return *this;
}

JsonWriter &JsonWriter::null(const char *key) {
    prefix(key);
    out_ += "null";
    return *this;
}

}  // namespace pipeline
