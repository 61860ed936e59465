#include "vqlog/kinds.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace vqlog {

namespace {

using vq::eod::io::EngineOutputDataFileError;
using vq::eod::io::EngineOutputDataFileWriter;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The log file base name of a kind, or "" when it has none.
std::string logFileName(char id) {
    try {
        return narrow(EngineOutputDataFileWriter::objectIDToFileName(id));
    } catch (const EngineOutputDataFileError&) {
        return std::string();
    }
}

// The name vqlog gives the log file of a kind that has none: its class name, followed by its
// object ID when the class serves several kinds (FeaturePoint0x17, FeaturePoint0x18), so that
// every kind has a file of its own; "Kind0x7F" for an ID without a class.
std::string fallbackLogFileName(char id) {
    const vq::eod::object_id::Kind* kind = vq::eod::object_id::findKind(id);
    if (kind == nullptr) {
        return "Kind" + hexId(id);
    }
    return kind->element_name != nullptr ? kind->class_name + hexId(id) : kind->class_name;
}

// The kind a number names ("0x10", "16", "-3"), if the text is one.
bool parseNumber(const std::string& text, char& id) {
    if (text.empty()) {
        return false;
    }
    std::size_t used = 0;
    long value = 0;
    try {
        value = std::stol(text, &used, 0);
    } catch (const std::exception&) {
        return false;
    }
    if (used != text.size() || value < -128 || value > 255) {
        return false;
    }
    id = static_cast<char>(value);
    return true;
}

// The kind whose log file name or class name is `name` (compared without letter case).
bool parseName(const std::string& name, char& id) {
    const std::string wanted = lowerCase(name);
    for (int value = -128; value < 128; ++value) {
        const char candidate = static_cast<char>(value);
        const char* class_name = vq::eod::object_id::className(candidate);
        std::string file_name = logFileName(candidate);
        if (file_name.empty() && class_name != nullptr) {
            file_name = fallbackLogFileName(candidate);
        }
        if ((!file_name.empty() && lowerCase(file_name) == wanted) ||
            (class_name != nullptr && lowerCase(class_name) == wanted)) {
            id = candidate;
            return true;
        }
    }
    return false;
}

}  // namespace

std::string hexId(char id) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned char>(id));
    return text;
}

std::string kindName(char id) {
    std::string name = logFileName(id);
    if (name.empty() && vq::eod::object_id::className(id) != nullptr) {
        name = vq::eod::object_id::className(id);
    }
    return name.empty() ? hexId(id) : name + " (" + hexId(id) + ")";
}

std::vector<char> parseKinds(const std::string& text) {
    std::vector<char> kinds;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        std::string item = text.substr(start, comma - start);
        item.erase(0, item.find_first_not_of(' '));
        item.erase(item.find_last_not_of(' ') + 1);
        start = comma + 1;
        if (item.empty()) {
            continue;
        }
        char id = 0;
        if (!parseNumber(item, id) && !parseName(item, id)) {
            throw UsageError("unknown kind '" + item +
                             "' (give log file names such as HeadV2, class names or numbers)");
        }
        if (std::find(kinds.begin(), kinds.end(), id) == kinds.end()) {
            kinds.push_back(id);
        }
    }
    if (kinds.empty()) {
        throw UsageError("no kinds given");
    }
    return kinds;
}

std::string ensureLogFileName(char id) {
    std::string name = logFileName(id);
    if (name.empty()) {
        name = fallbackLogFileName(id);
        EngineOutputDataFileWriter::registerObjectIDFileName(id, widen(name));
    }
    return name;
}

std::string narrow(const std::wstring& text) {
    std::string result;
    result.reserve(text.size());
    for (wchar_t c : text) {
        result += (c >= 0 && c < 0x80) ? static_cast<char>(c) : '?';
    }
    return result;
}

std::wstring widen(const std::string& text) {
    std::wstring result;
    result.reserve(text.size());
    for (char c : text) {
        result += (static_cast<unsigned char>(c) < 0x80) ? static_cast<wchar_t>(c) : L'?';
    }
    return result;
}

}  // namespace vqlog
