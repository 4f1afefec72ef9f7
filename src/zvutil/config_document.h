// The XML text of a configuration file. The text is the truth: a parsed tree beside it says where
// things stand, and every change is a splice of the text followed by a new parse, so that all that
// is not written stays byte for byte: quotes, entities, comments, line ends, white space in tags.
// Belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace zvevent {

class ConfigDocument {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
    static constexpr int kMaxDepth = 256;
    static constexpr const char* kKeyElement = "key";
    static constexpr const char* kValueElement = "value";

    // Takes the text of a file, in an encoding that has ASCII for its lower half. False, changing
    // nothing, for text that is not well-formed, too deep or too large. Blank text has no root.
    bool Load(std::string text);

    const std::string& Text() const { return text_; }

    // The root element, null without one. Nodes are valid until the next change of the document.
    pugi::xml_node Root() const;

    // The name attribute of an element, decoded; empty when there is none.
    static std::string NameOf(pugi::xml_node element);

    // The character data right inside an element, decoded, with line ends as LF.
    static std::string TextOf(pugi::xml_node element);

    // Append a child behind the children of `parent`, laid out like its siblings; a null `parent`
    // is the root, created in a blank document. False, changing nothing, when the result would not
    // load (too deep, too large).
    bool AddKey(pugi::xml_node parent, std::string_view name);
    bool AddValue(pugi::xml_node parent, std::string_view name, std::string_view text);

    // Replaces the character data right inside an element; comments and elements in it stay.
    bool SetText(pugi::xml_node element, std::string_view text);

private:
    // Positions in text_. The content of <a/> is empty and lies at the slash.
    struct Span {
        std::size_t start;
        std::size_t content_begin;
        std::size_t content_end;
        bool self_closing;
    };

    bool Splice(std::size_t position, std::size_t length, std::string_view replacement);
    bool InsertChild(pugi::xml_node parent, const std::string& source);
    bool ReplaceContent(pugi::xml_node element, const Span& span, std::size_t position,
                        std::size_t length, std::string_view replacement);

    Span SpanOf(pugi::xml_node element) const;
    std::size_t StartTagEnd(std::size_t start) const;
    std::size_t NodeEnd(pugi::xml_node node) const;
    std::size_t LeafEnd(pugi::xml_node node) const;

    std::string ChildIndent(pugi::xml_node parent, std::string_view parent_indent) const;
    bool StartsLine(std::size_t position) const;
    std::string_view IndentBefore(std::size_t position) const;
    std::string_view LineEnd() const;

    std::string text_;
    std::unique_ptr<pugi::xml_document> tree_ = std::make_unique<pugi::xml_document>();
};

}  // namespace zvevent
