// The configuration tree's functions: key paths, names and numbers over a ConfigDocument.

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zvutil/config_document.h"
#include "zvutil/replace_file.h"
#include "zvutil/zvutil.h"

using zvevent::ConfigDocument;

namespace {

constexpr char kSeparator = '\\';
constexpr std::uint32_t kFailed = 1;

// The addressable children of a key, each name once, in document order. Kept from one step of an
// enumeration to the next, so that enumerating stays linear.
struct Listing {
    struct Child {
        std::string name;
        bool is_key;
    };
    bool valid = false;
    std::string key;
    std::vector<Child> children;
    std::unordered_map<std::string, std::size_t> position_of;
};

}  // namespace

struct zvCFGTree {
    std::string path;
    std::string file_text;  // what the file holds, as far as this handle read and wrote it
    ConfigDocument document;
    Listing listing;
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

bool IsAddressable(std::string_view name) {
    return !name.empty() && name.size() < kZvCfgNameSize && name.find(kSeparator) == name.npos;
}

pugi::xml_node FindChild(pugi::xml_node parent, const char* kind, std::string_view name) {
    for (const pugi::xml_node child : parent.children(kind)) {
        if (ConfigDocument::NameOf(child) == name) return child;
    }
    return {};
}

// The empty path is the root. Null when there is no such key.
pugi::xml_node FindKey(const zvCFGTree& tree, std::string_view path) {
    pugi::xml_node key = tree.document.Root();
    while (key && !path.empty()) {
        const std::size_t end = path.find(kSeparator);
        const std::string_view name = path.substr(0, end);
        path = end == path.npos ? std::string_view() : path.substr(end + 1);
        const bool trailing_separator = end != std::string_view::npos && path.empty();
        if (!IsAddressable(name) || trailing_separator) return {};
        key = FindChild(key, ConfigDocument::kKeyElement, name);
    }
    return key;
}

pugi::xml_node FindValue(const zvCFGTree& tree, const char* key, const char* name) {
    if (!IsAddressable(name)) return {};
    return FindChild(FindKey(tree, key), ConfigDocument::kValueElement, name);
}

// A null key is the root of a file that has none yet.
bool WriteValue(zvCFGTree& tree, const char* path, const char* name, std::string_view text) {
    const pugi::xml_node key = FindKey(tree, path);
    if (!IsAddressable(name) || (!key && *path != '\0')) return false;
    const pugi::xml_node value = FindChild(key, ConfigDocument::kValueElement, name);
    if (value && ConfigDocument::TextOf(value) == text) return true;
    tree.listing.valid = false;
    return value ? tree.document.SetText(value, text) : tree.document.AddValue(key, name, text);
}

bool AddKey(zvCFGTree& tree, std::string_view parent_path, std::string_view name) {
    if (name.empty()) name = std::exchange(parent_path, {});
    const pugi::xml_node parent = FindKey(tree, parent_path);
    if (!IsAddressable(name) || (!parent && !parent_path.empty())) return false;
    if (FindChild(parent, ConfigDocument::kKeyElement, name)) return true;
    tree.listing.valid = false;
    return tree.document.AddKey(parent, name);
}

bool ParseNumber(std::string_view text, std::uint32_t& number) {
    const char* const last = text.data() + text.size();
    std::uint32_t parsed = 0;
    const auto [stop, error] = std::from_chars(text.data(), last, parsed);
    if (error != std::errc() || stop != last) return false;
    number = parsed;
    return true;
}

const Listing& ListingOf(zvCFGTree& tree, const char* path) {
    Listing& listing = tree.listing;
    if (listing.valid && listing.key == path) return listing;
    listing = Listing();
    listing.key = path;
    for (const pugi::xml_node child : FindKey(tree, path).children()) {
        const bool is_key = std::strcmp(child.name(), ConfigDocument::kKeyElement) == 0;
        if (!is_key && std::strcmp(child.name(), ConfigDocument::kValueElement) != 0) continue;
        std::string name = ConfigDocument::NameOf(child);
        if (!IsAddressable(name)) continue;
        const auto [known, added] = listing.position_of.try_emplace(name, listing.children.size());
        if (added) {
            listing.children.push_back({std::move(name), is_key});
        } else if (is_key) {
            listing.children[known->second].is_key = true;
        }
    }
    listing.valid = true;
    return listing;
}

std::uint32_t NextChild(const Listing& listing, const char* previous, char* name,
                        std::uint32_t& flag) {
    std::size_t position = 0;
    if (*previous != '\0') {
        const auto found = listing.position_of.find(previous);
        if (found == listing.position_of.end()) return kZvCfgNoMore;
        position = found->second + 1;
    }
    if (position >= listing.children.size()) return kZvCfgNoMore;
    const Listing::Child& child = listing.children[position];
    std::memcpy(name, child.name.c_str(), child.name.size() + 1);
    flag = child.is_key ? 0 : 1;
    return 0;
}

}  // namespace

zvCFGHandle zvCFGOpen(const char* path, std::uint32_t) noexcept {
    if (path == nullptr) return nullptr;
    return Guarded<zvCFGHandle>(nullptr, [&]() -> zvCFGHandle {
        auto tree = std::make_unique<zvCFGTree>();
        tree->path = path;
        if (!zvevent::ReadWholeFile(path, ConfigDocument::kMaxBytes, tree->file_text) ||
            !tree->document.Load(tree->file_text)) {
            return nullptr;
        }
        return tree.release();
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
        const std::string& text = handle->document.Text();
        if (text == handle->file_text) return 0u;
        // What someone else has written meanwhile is not overwritten; the next load completes it.
        std::string now;
        if (!zvevent::ReadWholeFile(handle->path.c_str(), zvevent::ConfigDocument::kMaxBytes,
                                    now) ||
            now != handle->file_text) {
            return kFailed;
        }
        if (!zvevent::ReplaceFileContents(handle->path.c_str(), text,
                                          zvevent::Replace::kExistingSynced)) {
            return kFailed;
        }
        handle->file_text = text;
        return 0u;
    });
}

std::uint32_t zvCFGKeyExists(zvCFGHandle handle, const char* key) noexcept {
    if (handle == nullptr || key == nullptr) return 0;
    return Guarded(0u, [&] { return FindKey(*handle, key) ? 1u : 0u; });
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
        const pugi::xml_node value = FindValue(*handle, key, name);
        if (!value || length == nullptr || *length == 0) return kFailed;
        const std::string text = ConfigDocument::TextOf(value);
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
        const pugi::xml_node value = FindValue(*handle, key, name);
        return value && ParseNumber(ConfigDocument::TextOf(value), *number) ? 0u : kFailed;
    });
}

std::uint32_t zvCFGGetNext(zvCFGHandle handle, const char* key, char* name, const char* previous,
                           std::uint32_t* flag) noexcept {
    if (handle == nullptr || key == nullptr || name == nullptr || previous == nullptr ||
        flag == nullptr) {
        return kZvCfgNoMore;
    }
    return Guarded(kZvCfgNoMore,
                   [&] { return NextChild(ListingOf(*handle, key), previous, name, *flag); });
}
