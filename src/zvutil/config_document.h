// The XML text of a configuration file. The text is the truth: a parsed tree beside it says where
// things stand, and what is changed is kept apart and spliced in when the text is asked for, so
// that all that is not written stays byte for byte: quotes, entities, comments, line ends, white
// space in tags. Keys and values are found by an index of their parent's, made when it is first
// looked into. Belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zvutil/config_layout.h"
#include "zvutil/xml_positions.h"

namespace zvevent {

class ConfigDocument {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
    static constexpr int kMaxDepth = 256;
    static constexpr std::size_t kMaxNameBytes = 511;
    static constexpr char kSeparator = '\\';

    enum class Kind { kKey, kValue };

    // A key or a value. Lives as long as the document, at the same place.
    struct Element;

    // A name below a key: of several children of one kind the first.
    struct Child {
        std::string_view name;
        Element* key = nullptr;
        Element* value = nullptr;
        std::size_t position = 0;  // among the names, in the order of the text
        bool repeated = false;     // there are further children of a kind
    };

    ConfigDocument();
    ~ConfigDocument();
    ConfigDocument(const ConfigDocument&) = delete;
    ConfigDocument& operator=(const ConfigDocument&) = delete;

    // What is wrong with a text, and where in it, if that is one place.
    struct Fault {
        const char* reason;
        std::optional<std::size_t> position;
    };

    // Takes the text of a file, in an encoding that has ASCII for its lower half. Once, and first.
    // A fault for text that is not well-formed, too deep or too large. Blank text has no root.
    std::optional<Fault> Load(std::string text);

    // The text as it was loaded, and with all that was changed.
    const std::string& LoadedText() const { return text_; }
    std::string Text() const;

    // The root element, null without one.
    Element* Root() { return root_; }

    // What lies below a key by this name, or as the name after `previous` (the first one for null);
    // null for nothing.
    const Child* Find(Element& key, std::string_view name);
    const Child* Next(Element& key, const Child* previous);

    // The character data right inside an element, decoded, with line ends as LF.
    std::string TextOf(const Element& element) const;

    // Whether children can have the name: not empty, without a separator, not too long.
    static bool IsAddressable(std::string_view name);

    // Append a child behind the children of `parent`, laid out like its siblings; a null `parent`
    // is the root, created in a blank document. The name is addressable, and new among children of
    // the kind. Null, changing nothing, when it would lie too deep.
    Element* AddKey(Element* parent, std::string_view name);
    Element* AddValue(Element* parent, std::string_view name, std::string_view text);

    // Replaces the character data right inside a value; comments and elements in it stay.
    void SetText(Element& value, std::string_view text);

private:
    struct Index;
    struct Edit;

    Element& Make(Element element);
    Index& IndexOf(Element& key);
    Element* Add(Element* parent, Kind kind, std::string_view name);
    ChildLayout LayoutFor(const Element& parent) const;
    std::string_view IndentOf(const Element& element) const;
    void NoteChange(Element& element);

    Edit EditOf(const Element& changed) const;
    std::string ChangedContent(const Element& value, const XmlSpan& span) const;
    void AppendChildren(const Element& parent, std::string& out) const;
    void AppendAdded(const Element& element, std::string& out) const;

    std::string text_;
    pugi::xml_document tree_;
    XmlPositions positions_{text_};
    std::string_view line_end_;
    std::vector<std::unique_ptr<Element>> elements_;
    Element* root_ = nullptr;
    std::vector<Element*> changed_;  // elements of the text, in the order of their first change
};

}  // namespace zvevent
