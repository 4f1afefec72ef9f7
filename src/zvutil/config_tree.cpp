// The configuration tree's functions: key paths, names and numbers over a ConfigDocument.

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "zvutil/config_document.h"
#include "zvutil/replace_file.h"
#include "zvutil/zvutil.h"

using zvevent::ConfigDocument;
using Child = ConfigDocument::Child;
using Element = ConfigDocument::Element;

namespace {

constexpr std::uint32_t kFailed = 1;
static_assert(ConfigDocument::kMaxNameBytes + 1 == kZvCfgNameSize);

}  // namespace

struct zvCFGTree {
    std::string path;
    ConfigDocument document;
    std::optional<std::string> saved_text;  // what the file holds since the last save

    const std::string& FileText() const { return saved_text ? *saved_text : document.LoadedText(); }
};

namespace {

template <typename Result, typename Body>
Result Guarded(Result failure, Body body) noexcept {
    try {
        return body();
    } catch (...) {
        return failure;
    }
}

// Null for a name that children cannot have.
const Child* FindChild(zvCFGTree& tree, Element* key, std::string_view name) {
    if (key == nullptr || !ConfigDocument::IsAddressable(name)) return nullptr;
    return tree.document.Find(*key, name);
}

// The empty path is the root. Null when there is no such key.
Element* FindKey(zvCFGTree& tree, std::string_view path) {
    Element* key = tree.document.Root();
    while (key != nullptr && !path.empty()) {
        const std::size_t end = path.find(ConfigDocument::kSeparator);
        const Child* const child = FindChild(tree, key, path.substr(0, end));
        path = end == path.npos ? std::string_view() : path.substr(end + 1);
        const bool trailing_separator = end != std::string_view::npos && path.empty();
        key = child != nullptr && !trailing_separator ? child->key : nullptr;
    }
    return key;
}

const Element* FindValue(zvCFGTree& tree, const char* key, const char* name) {
    const Child* const child = FindChild(tree, FindKey(tree, key), name);
    return child != nullptr ? child->value : nullptr;
}

// A null key is the root of a file that has none yet.
bool WriteValue(zvCFGTree& tree, const char* path, const char* name, std::string_view text) {
    Element* const key = FindKey(tree, path);
    if (!ConfigDocument::IsAddressable(name) || (key == nullptr && *path != '\0')) return false;
    const Child* const child = FindChild(tree, key, name);
    if (child == nullptr || child->value == nullptr) {
        return tree.document.AddValue(key, name, text) != nullptr;
    }
    if (tree.document.TextOf(*child->value) != text) tree.document.SetText(*child->value, text);
    return true;
}

bool AddKey(zvCFGTree& tree, std::string_view parent_path, std::string_view name) {
    if (name.empty()) name = std::exchange(parent_path, {});
    Element* const parent = FindKey(tree, parent_path);
    if (!ConfigDocument::IsAddressable(name) || (parent == nullptr && !parent_path.empty())) {
        return false;
    }
    const Child* const child = FindChild(tree, parent, name);
    if (child != nullptr && child->key != nullptr) return true;
    return tree.document.AddKey(parent, name) != nullptr;
}

bool ParseNumber(std::string_view text, std::uint32_t& number) {
    const char* const last = text.data() + text.size();
    std::uint32_t parsed = 0;
    const auto [stop, error] = std::from_chars(text.data(), last, parsed);
    if (error != std::errc() || stop != last) return false;
    number = parsed;
    return true;
}

// Both count from 1.
void Locate(std::string_view text, std::size_t position, std::uint32_t& line,
            std::uint32_t& column) {
    const std::string_view before = text.substr(0, position);
    const std::size_t line_start = before.rfind('\n') + 1;  // npos + 1 is 0
    line = static_cast<std::uint32_t>(std::count(before.begin(), before.end(), '\n')) + 1;
    column = static_cast<std::uint32_t>(before.size() - line_start) + 1;
}

std::uint32_t NextChild(zvCFGTree& tree, const char* path, const char* previous, char* name,
                        std::uint32_t& flag) {
    Element* const key = FindKey(tree, path);
    if (key == nullptr) return kZvCfgNoMore;
    const Child* const before = *previous != '\0' ? FindChild(tree, key, previous) : nullptr;
    if (before == nullptr && *previous != '\0') return kZvCfgNoMore;
    const Child* const child = tree.document.Next(*key, before);
    if (child == nullptr) return kZvCfgNoMore;
    name[child->name.copy(name, kZvCfgNameSize - 1)] = '\0';
    flag = child->key != nullptr ? 0 : 1;
    return 0;
}

}  // namespace

zvCFGHandle zvCFGOpen(const char* path, std::uint32_t) noexcept {
    if (path == nullptr) return nullptr;
    return Guarded<zvCFGHandle>(nullptr, [&]() -> zvCFGHandle {
        auto tree = std::make_unique<zvCFGTree>();
        tree->path = path;
        std::string text;
        if (!zvevent::ReadWholeFile(path, ConfigDocument::kMaxBytes, text) ||
            tree->document.Load(std::move(text))) {
            return nullptr;
        }
        return tree.release();
    });
}

std::uint32_t zvCFGFindFault(const char* path, char* reason, std::uint32_t size,
                             std::uint32_t* line, std::uint32_t* column) noexcept {
    if (path == nullptr || reason == nullptr || size == 0 || line == nullptr || column == nullptr) {
        return kFailed;
    }
    return Guarded(kFailed, [&] {
        std::string text;
        std::optional<ConfigDocument::Fault> fault = ConfigDocument::Fault{
            "no regular file that can be read, or larger than 64 MiB", std::nullopt};
        ConfigDocument document;
        if (zvevent::ReadWholeFile(path, ConfigDocument::kMaxBytes, text)) {
            fault = document.Load(std::move(text));
        }
        if (!fault) return kFailed;
        reason[std::string_view(fault->reason).copy(reason, size - 1)] = '\0';
        *line = *column = 0;
        if (fault->position) Locate(document.LoadedText(), *fault->position, *line, *column);
        return 0u;
    });
}

std::uint32_t zvCFGClose(zvCFGHandle handle, std::uint32_t) noexcept {
    if (handle == nullptr) return kFailed;
    delete handle;
    return 0;
}

std::uint32_t zvCFGSave(zvCFGHandle handle, std::uint32_t, std::uint32_t) noexcept {
    if (handle == nullptr) return kFailed;
    return Guarded(kFailed, [&] {
        std::string text = handle->document.Text();
        if (text == handle->FileText()) return 0u;
        // What someone else has written meanwhile is not overwritten; the next load completes it.
        std::string now;
        if (!zvevent::ReadWholeFile(handle->path.c_str(), ConfigDocument::kMaxBytes, now) ||
            now != handle->FileText() || text.size() > ConfigDocument::kMaxBytes) {
            return kFailed;
        }
        if (!zvevent::ReplaceFileContents(handle->path.c_str(), text,
                                          zvevent::Replace::kExistingSynced)) {
            return kFailed;
        }
        handle->saved_text = std::move(text);
        return 0u;
    });
}

std::uint32_t zvCFGIsRepeated(zvCFGHandle handle, const char* key, const char* name) noexcept {
    if (handle == nullptr || key == nullptr || name == nullptr) return 0;
    return Guarded(0u, [&] {
        const Child* const child = FindChild(*handle, FindKey(*handle, key), name);
        return child != nullptr && child->repeated ? 1u : 0u;
    });
}

std::uint32_t zvCFGKeyExists(zvCFGHandle handle, const char* key) noexcept {
    if (handle == nullptr || key == nullptr) return 0;
    return Guarded(0u, [&] { return FindKey(*handle, key) != nullptr ? 1u : 0u; });
}

std::uint32_t zvCFGAddKeyString(zvCFGHandle handle, const char* parent, const char* name,
                                const char*, std::uint32_t, std::uint32_t) noexcept {
    if (handle == nullptr || parent == nullptr || name == nullptr) return kFailed;
    return Guarded(kFailed, [&] { return AddKey(*handle, parent, name) ? 0u : kFailed; });
}

std::uint32_t zvCFGValueString(zvCFGHandle handle, const char* key, const char* name, char* buffer,
                               std::uint32_t* length, std::uint32_t write) noexcept {
    if (handle == nullptr || key == nullptr || name == nullptr || buffer == nullptr) return kFailed;
    return Guarded(kFailed, [&] {
        if (write != 0) return WriteValue(*handle, key, name, buffer) ? 0u : kFailed;
        const Element* const value = FindValue(*handle, key, name);
        if (value == nullptr || length == nullptr || *length == 0) return kFailed;
        const std::string text = handle->document.TextOf(*value);
        *length = static_cast<std::uint32_t>(std::min<std::size_t>(text.size(), *length - 1));
        std::memcpy(buffer, text.data(), *length);
        buffer[*length] = '\0';
        return 0u;
    });
}

std::uint32_t zvCFGValueDword(zvCFGHandle handle, const char* key, const char* name,
                              std::uint32_t* number, std::uint32_t write) noexcept {
    if (handle == nullptr || key == nullptr || name == nullptr || number == nullptr) return kFailed;
    return Guarded(kFailed, [&] {
        if (write != 0) {
            return WriteValue(*handle, key, name, std::to_string(*number)) ? 0u : kFailed;
        }
        const Element* const value = FindValue(*handle, key, name);
        return value != nullptr && ParseNumber(handle->document.TextOf(*value), *number) ? 0u
                                                                                         : kFailed;
    });
}

std::uint32_t zvCFGGetNext(zvCFGHandle handle, const char* key, char* name, const char* previous,
                           std::uint32_t* flag) noexcept {
    if (handle == nullptr || key == nullptr || name == nullptr || previous == nullptr ||
        flag == nullptr) {
        return kZvCfgNoMore;
    }
    return Guarded(kZvCfgNoMore, [&] { return NextChild(*handle, key, previous, name, *flag); });
}
