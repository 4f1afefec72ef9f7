// Where the nodes of a parsed XML text stand in it. The parser tells only where a node begins; the
// rest is found in the text, which the parser has accepted. One thread at a time.
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace zvevent {

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// An element. The content of <a/> is empty and lies at the slash.
struct XmlSpan {
    std::size_t start;
    std::size_t content_begin;
    std::size_t content_end;
    bool self_closing;
};

// The first line end of a text stands for all: LF, CR LF or CR; LF when there is none. A literal.
std::string_view FirstLineEnd(std::string_view text);

class XmlPositions {
public:
    // The text must outlive the object, and be what the nodes were parsed from, with nothing of it
    // converted or left out.
    explicit XmlPositions(const std::string& text) : text_(text) {}

    std::size_t StartOf(pugi::xml_node element) const;
    XmlSpan SpanOf(pugi::xml_node element) const;

    // The position behind a node.
    std::size_t NodeEnd(pugi::xml_node node) const;

    // Only blanks lie between the last line end, or the start of the text, and the position.
    bool StartsLine(std::size_t position) const;

    // The blanks and tabs right before a position.
    std::string_view IndentBefore(std::size_t position) const;

private:
    std::size_t StartTagEnd(std::size_t start) const;
    std::size_t LeafEnd(pugi::xml_node node) const;

    const std::string& text_;
};

}  // namespace zvevent
