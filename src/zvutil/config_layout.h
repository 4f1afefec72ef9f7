// How the children that are added to a key are laid out, so that they look like what is there
// already. One thread at a time.
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "zvutil/xml_positions.h"

namespace zvevent {

inline constexpr std::string_view kXmlBlanks = " \t\r\n";

// Holds for all children that are added to one key, as the first of them finds it.
struct ChildLayout {
    std::size_t position = 0;  // in the text; of no meaning inside a key that was added itself
    bool own_lines = false;    // before each child a line end and the indent, or nothing
    std::string indent;
    std::string closing;  // behind the last child
};

// Inside an element of the text, before its end tag: on lines of their own where the last line of
// its content is blank, or where it is empty and starts a line itself, or is the root.
ChildLayout LayoutInside(const std::string& text, const XmlPositions& positions,
                         pugi::xml_node parent, std::string_view line_end);

// Inside a key that was itself added, with the layout `around` and into an element that `outer`,
// the blanks before that element's start, is the indent of.
ChildLayout LayoutInsideAdded(const ChildLayout& around, std::string_view outer,
                              std::string_view line_end);

// Inside the root that a blank text is given.
ChildLayout LayoutInsideAddedRoot(std::string_view line_end);

}  // namespace zvevent
