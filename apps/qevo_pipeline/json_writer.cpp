#include "json_writer.h"

#include <cmath>

namespace pipeline {

JsonWriter &JsonWriter::add(const char *key, nlohmann::ordered_json v, bool open) {
    nlohmann::ordered_json *slot = &root_;
    if (!open_.empty()) {
        nlohmann::ordered_json &parent = *open_.back();
        if (parent.is_array()) {
            parent.push_back(std::move(v));
            slot = &parent.back();
        } else {
            slot = &parent[key != nullptr ? key : ""];
            *slot = std::move(v);
        }
    } else {
        root_ = std::move(v);
    }
    if (open) open_.push_back(slot);
    return *this;
}

JsonWriter &JsonWriter::begin_object(const char *key) {
    return add(key, nlohmann::ordered_json::object(), true);
}
JsonWriter &JsonWriter::begin_array(const char *key) {
    return add(key, nlohmann::ordered_json::array(), true);
}
JsonWriter &JsonWriter::end_object() {
    open_.pop_back();
    return *this;
}
JsonWriter &JsonWriter::end_array() { return end_object(); }

JsonWriter &JsonWriter::value(const char *key, double v) {
    return add(key, std::isfinite(v) ? nlohmann::ordered_json(v) : nullptr, false);
}
JsonWriter &JsonWriter::value(const char *key, long v) { return add(key, v, false); }
JsonWriter &JsonWriter::value(const char *key, bool v) { return add(key, v, false); }
JsonWriter &JsonWriter::value(const char *key, const std::string &v) { return add(key, v, false); }
JsonWriter &JsonWriter::null(const char *key) { return add(key, nullptr, false); }

std::string JsonWriter::str() const { return root_.dump(2) + "\n"; }

}  // namespace pipeline
