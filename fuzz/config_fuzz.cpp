// Configuration text through open, load, complete, save, and load again. A refused file stays as it
// is; a completed one keeps every byte outside of values, in order, does not change again, and is
// XML for expat where it was that before. What is written into it is read back.
#include <expat.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "config/config_loader.h"
#include "require.h"
#include "zvutil/zvutil.h"

namespace zvevent::fuzz {
namespace {

// In memory where the system has such a folder, as every save is synced.
const std::string& File() {
    static const std::string file = [] {
        std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/zvevent-fuzz-XXXXXX"
                                                               : "/tmp/zvevent-fuzz-XXXXXX";
        Require(mkdtemp(name.data()) != nullptr, "a folder");
        return name + "/c.xml";
    }();
    return file;
}

std::string Read() {
    std::ifstream file(File(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool IsXmlForExpat(const std::string& text) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    const bool good =
        XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return good;
}

// Where the tag ends that begins before `at`.
std::size_t EndOfTag(const std::string& text, std::size_t at) {
    char quote = 0;
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (quote == 0 && c == '>') return at;
        if (quote == c) {
            quote = 0;
        } else if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        }
    }
    return text.npos;
}

// A number that is none is replaced by its default: what values hold need not stay. From a value in
// a value on nothing is said.
std::string WithoutContentOfValues(std::string text) {
    std::size_t at = 0;
    while ((at = text.find("<value", at)) != text.npos) {
        const std::size_t begin = ++at;
        const std::size_t tag_end = EndOfTag(text, begin);
        if (tag_end != text.npos && text[tag_end - 1] == '/') continue;
        const std::size_t end = text.find("</value", begin);
        const bool holds_values = text.find("<value", begin) < end;
        text.erase(begin, holds_values || end == text.npos ? text.npos : end - begin);
    }
    return text;
}

bool IsKeptIn(std::string_view before, std::string_view after) {
    for (const char byte : after)
        if (!before.empty() && before[0] == byte) before.remove_prefix(1);
    return before.empty();
}

// Completes the file; false when it is refused.
bool Load(std::string* error) {
    const std::string before = Read();
    zvEventConfig config, again;
    if (zvEventLoadConfig(File().c_str(), &config, error) != ZVEVENT_OK) {
        Require(Read() == before, "a refused file stays as it is");
        return false;
    }
    const std::string completed = Read();
    Require(IsKeptIn(WithoutContentOfValues(before), completed),
            "what was in the file is still there");
    Require(zvEventLoadConfig(File().c_str(), &again, error) == ZVEVENT_OK, "taken again");
    Require(again == config, "the same configuration");
    Require(Read() == completed, "complete after the first time");
    Require(!IsXmlForExpat(before) || IsXmlForExpat(completed), "still XML");
    return true;
}

// A text of any bytes but zero, as a value of the completed file.
void WriteAndReadBack(std::string text) {
    text = text.substr(0, std::min<std::size_t>(text.find('\0'), 100));
    constexpr const char* kKey = "QRV\\Events\\core";
    const zvCFGHandle written = zvCFGOpen(File().c_str(), 0);
    Require(written != nullptr, "opened");
    Require(zvCFGValueString(written, kKey, "status_file", text.data(), nullptr, 1) == 0, "set");
    Require(zvCFGSave(written, 0, 1) == 0, "saved");
    zvCFGClose(written, 1);
    const zvCFGHandle read = zvCFGOpen(File().c_str(), 0);
    Require(read != nullptr, "opened again");
    char buffer[128];
    std::uint32_t length = sizeof buffer;
    Require(zvCFGValueString(read, kKey, "status_file", buffer, &length, 0) == 0, "there");
    Require(std::string_view(buffer, length) == text, "reads as it was written");
    zvCFGClose(read, 1);
}

}  // namespace
}  // namespace zvevent::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace zvevent::fuzz;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    std::ofstream(File(), std::ios::binary) << text;
    std::string error;
    if (Load(&error) || Load(nullptr)) WriteAndReadBack(text.substr(size / 2));
    return 0;
}
