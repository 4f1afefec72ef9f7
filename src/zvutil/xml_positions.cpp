#include "zvutil/xml_positions.h"

#include <cstring>

namespace zvevent {
namespace {

// Of an element that of its name, of other nodes that of their contents.
std::size_t SourceOffset(pugi::xml_node node) {
    return static_cast<std::size_t>(node.offset_debug());
}

}  // namespace

std::string_view FirstLineEnd(std::string_view text) {
    const std::size_t first = text.find_first_of("\r\n");
    if (first == text.npos || text[first] == '\n') return "\n";
    return text.substr(first).starts_with("\r\n") ? "\r\n" : "\r";
}

std::size_t XmlPositions::StartOf(pugi::xml_node element) const {
    return SourceOffset(element) - 1;
}

XmlSpan XmlPositions::SpanOf(pugi::xml_node element) const {
    const std::size_t start = StartOf(element);
    const std::size_t bracket = StartTagEnd(start);
    if (text_[bracket - 1] == '/') return {start, bracket - 1, bracket - 1, true};
    const pugi::xml_node last = element.last_child();
    return {start, bracket + 1, last ? NodeEnd(last) : bracket + 1, false};
}

// Position of the bracket that ends the start tag at `start`.
std::size_t XmlPositions::StartTagEnd(std::size_t start) const {
    std::size_t position = text_.find_first_of("\"'>", start);
    while (text_[position] != '>') {
        position = text_.find(text_[position], position + 1);
        position = text_.find_first_of("\"'>", position + 1);
    }
    return position;
}

// Position behind a node: behind its last descendant and then behind one end tag for each level.
std::size_t XmlPositions::NodeEnd(pugi::xml_node node) const {
    int levels = 0;
    for (; node.last_child(); node = node.last_child())
        ++levels;
    std::size_t position = LeafEnd(node);
    for (; levels > 0; --levels)
        position = text_.find('>', position) + 1;
    return position;
}

std::size_t XmlPositions::LeafEnd(pugi::xml_node node) const {
    const std::size_t offset = SourceOffset(node);
    switch (node.type()) {
        case pugi::node_element: {
            const std::size_t bracket = StartTagEnd(offset);
            return text_[bracket - 1] == '/' ? bracket + 1 : text_.find('>', bracket + 1) + 1;
        }
        case pugi::node_comment:
            return text_.find("-->", offset) + 3;
        case pugi::node_cdata:
            return text_.find("]]>", offset) + 3;
        case pugi::node_pi:
            return text_.find("?>", offset) + 2;
        default:
            return offset + std::strlen(node.value());
    }
}

bool XmlPositions::StartsLine(std::size_t position) const {
    const std::size_t begin = position - IndentBefore(position).size();
    return begin == 0 || text_[begin - 1] == '\n' || text_[begin - 1] == '\r' ||
           (begin == kByteOrderMark.size() && text_.starts_with(kByteOrderMark));
}

std::string_view XmlPositions::IndentBefore(std::size_t position) const {
    const std::string_view before = std::string_view(text_).substr(0, position);
    return before.substr(before.find_last_not_of(" \t") + 1);
}

}  // namespace zvevent
