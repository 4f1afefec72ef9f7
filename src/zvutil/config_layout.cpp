#include "zvutil/config_layout.h"

namespace zvevent {
namespace {

constexpr std::string_view kStep = "  ";

// One level deeper than `indent`, by the step that led to it from `outer`.
std::string Deeper(std::string_view indent, std::string_view outer) {
    const bool known = indent.starts_with(outer);
    return std::string(indent).append(known ? indent.substr(outer.size()) : kStep);
}

// The indent of the last child on a line of its own. Without one, that of the parent and the step
// from the grandparent to the parent.
std::string ChildIndent(const XmlPositions& positions, pugi::xml_node parent,
                        std::string_view parent_indent) {
    for (pugi::xml_node child = parent.last_child(); child; child = child.previous_sibling()) {
        if (child.type() != pugi::node_element) continue;
        const std::size_t start = positions.StartOf(child);
        if (positions.StartsLine(start)) return std::string(positions.IndentBefore(start));
    }
    const pugi::xml_node grandparent = parent.parent();
    if (grandparent.type() != pugi::node_element) return std::string(parent_indent).append(kStep);
    return Deeper(parent_indent, positions.IndentBefore(positions.StartOf(grandparent)));
}

}  // namespace

ChildLayout LayoutInside(const std::string& text, const XmlPositions& positions,
                         pugi::xml_node parent, std::string_view line_end) {
    const XmlSpan span = positions.SpanOf(parent);
    // Blanks before the end tag; they end behind the last character that is none, which is at the
    // latest the bracket of the start tag.
    std::size_t blanks = span.content_end;
    while (blanks > span.content_begin && kXmlBlanks.find(text[blanks - 1]) != kXmlBlanks.npos)
        --blanks;

    const std::string_view tail = std::string_view(text).substr(blanks, span.content_end - blanks);
    if (tail.find_first_of("\r\n") != tail.npos) {
        const std::string_view indent = positions.IndentBefore(span.content_end);
        return {blanks, true, ChildIndent(positions, parent, indent), ""};
    }
    const bool is_root = parent.parent().type() != pugi::node_element;
    const bool empty = blanks == span.content_begin;
    if (!empty || !(positions.StartsLine(span.start) || is_root)) {
        return {span.content_end, false, "", ""};
    }
    const std::string_view outer = positions.IndentBefore(span.start);
    return {span.content_end, true, ChildIndent(positions, parent, outer),
            std::string(line_end).append(outer)};
}

ChildLayout LayoutInsideAdded(const ChildLayout& around, std::string_view outer,
                              std::string_view line_end) {
    if (!around.own_lines) return {};
    return {0, true, Deeper(around.indent, outer), std::string(line_end).append(around.indent)};
}

ChildLayout LayoutInsideAddedRoot(std::string_view line_end) {
    return {0, true, std::string(kStep), std::string(line_end)};
}

}  // namespace zvevent
