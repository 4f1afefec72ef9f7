#include "zvutil/config_document.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <utility>

namespace zvevent {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Everything becomes a node and nothing is converted, so that a node's value has the length of its
// source. parse_fragment makes text outside the root visible instead of dropping it.
constexpr unsigned int kVerbatim = pugi::parse_pi | pugi::parse_comments | pugi::parse_cdata |
                                   pugi::parse_ws_pcdata | pugi::parse_declaration |
                                   pugi::parse_doctype | pugi::parse_fragment;

struct Entity {
    std::string_view name;
    char character;
};
constexpr Entity kEntities[] = {
    {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

enum class Source { kText, kCdata, kAttribute };

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(kBlanks) == text.npos;
}

std::string_view WithoutByteOrderMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

// False for what is no character: zero, surrogates, beyond Unicode.
bool AppendUtf8(std::uint32_t code, std::string& out) {
    if (code == 0 || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return false;
    const auto tail = [&](int shift) {
        return static_cast<char>(0x80u | ((code >> shift) & 0x3Fu));
    };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += {static_cast<char>(0xC0u | (code >> 6)), tail(0)};
    } else if (code < 0x10000) {
        out += {static_cast<char>(0xE0u | (code >> 12)), tail(6), tail(0)};
    } else {
        out += {static_cast<char>(0xF0u | (code >> 18)), tail(12), tail(6), tail(0)};
    }
    return true;
}

// Appends the character that the reference at the start of `raw` stands for. Returns the length of
// the reference, 0 when there is none that is known: such text is taken as it stands.
std::size_t AppendReference(std::string_view raw, std::string& out) {
    constexpr std::size_t kLongest = 32;
    const std::size_t end = raw.substr(0, kLongest).find(';');
    if (end == raw.npos) return 0;
    const std::string_view body = raw.substr(1, end - 1);
    for (const Entity& entity : kEntities) {
        if (body != entity.name) continue;
        out += entity.character;
        return end + 1;
    }
    if (!body.starts_with('#')) return 0;
    const bool hexadecimal = body.starts_with("#x");
    const std::string_view digits = body.substr(hexadecimal ? 2 : 1);
    const char* const last = digits.data() + digits.size();
    std::uint32_t code = 0;
    const auto [stop, error] = std::from_chars(digits.data(), last, code, hexadecimal ? 16 : 10);
    const bool known = error == std::errc() && stop == last && AppendUtf8(code, out);
    return known ? end + 1 : 0;
}

void AppendDecoded(std::string_view raw, Source source, std::string& out) {
    for (std::size_t i = 0; i < raw.size(); ++i) {
        char c = raw[i];
        if (c == '&' && source != Source::kCdata) {
            const std::size_t length = AppendReference(raw.substr(i), out);
            if (length != 0) {
                i += length - 1;
                continue;
            }
        }
        if (c == '\r') {
            if (i + 1 < raw.size() && raw[i + 1] == '\n') ++i;
            c = '\n';
        }
        if (source == Source::kAttribute && (c == '\n' || c == '\t')) c = ' ';
        out += c;
    }
}

// Control characters are written as references: a carriage return would otherwise be read back as a
// line end, and of the others, which XML 1.0 forbids in any form, most readers take the reference.
void AppendEncoded(std::string_view plain, Source source, std::string_view line_end,
                   std::string& out) {
    const bool attribute = source == Source::kAttribute;
    for (const char c : plain) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"' && attribute) {
            out += "&quot;";
        } else if (c == '\n' && !attribute) {
            out += line_end;
        } else if (static_cast<unsigned char>(c) < 0x20 && (c != '\t' || attribute)) {
            out += "&#" + std::to_string(c) + ';';
        } else {
            out += c;
        }
    }
}

// What the parser lets pass: text and further elements outside the root, and any depth.
struct StructureCheck : pugi::xml_tree_walker {
    int roots = 0;

    bool for_each(pugi::xml_node& node) override {
        const pugi::xml_node_type type = node.type();
        if (type == pugi::node_element) {
            if (depth() == 0) ++roots;
            return depth() < ConfigDocument::kMaxDepth && roots == 1;
        }
        if (depth() > 0) return true;
        return type != pugi::node_cdata && (type != pugi::node_pcdata || IsBlank(node.value()));
    }
};

// Null for text that cannot be a configuration file.
std::unique_ptr<pugi::xml_document> Parse(const std::string& text) {
    if (text.size() > ConfigDocument::kMaxBytes || text.find('\0') != text.npos) return nullptr;
    auto tree = std::make_unique<pugi::xml_document>();
    if (IsBlank(WithoutByteOrderMark(text))) return tree;
    if (!tree->load_buffer(text.data(), text.size(), kVerbatim, pugi::encoding_utf8)) {
        return nullptr;
    }
    StructureCheck check;
    if (!tree->traverse(check) || check.roots != 1) return nullptr;
    return tree;
}

bool IsCharacterData(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

std::size_t SourceOffset(pugi::xml_node node) {
    return static_cast<std::size_t>(node.offset_debug());
}

}  // namespace

bool ConfigDocument::Load(std::string text) {
    auto tree = Parse(text);
    if (!tree) return false;
    text_ = std::move(text);
    tree_ = std::move(tree);
    return true;
}

pugi::xml_node ConfigDocument::Root() const {
    return tree_->document_element();
}

std::string ConfigDocument::NameOf(pugi::xml_node element) {
    std::string name;
    AppendDecoded(element.attribute("name").value(), Source::kAttribute, name);
    return name;
}

std::string ConfigDocument::TextOf(pugi::xml_node element) {
    std::string text;
    for (const pugi::xml_node child : element.children()) {
        if (!IsCharacterData(child)) continue;
        const bool cdata = child.type() == pugi::node_cdata;
        AppendDecoded(child.value(), cdata ? Source::kCdata : Source::kText, text);
    }
    return text;
}

bool ConfigDocument::AddKey(pugi::xml_node parent, std::string_view name) {
    std::string source = "<key name=\"";
    AppendEncoded(name, Source::kAttribute, LineEnd(), source);
    source += "\"/>";
    return InsertChild(parent, source);
}

bool ConfigDocument::AddValue(pugi::xml_node parent, std::string_view name, std::string_view text) {
    std::string source = "<value name=\"";
    AppendEncoded(name, Source::kAttribute, LineEnd(), source);
    source += "\">";
    AppendEncoded(text, Source::kText, LineEnd(), source);
    source += "</value>";
    return InsertChild(parent, source);
}

bool ConfigDocument::SetText(pugi::xml_node element, std::string_view text) {
    const Span span = SpanOf(element);
    std::string encoded;
    AppendEncoded(text, Source::kText, LineEnd(), encoded);

    // The new text stands where the first piece of the old one stood.
    std::string content;
    bool placed = false;
    std::size_t position = span.content_begin;
    for (const pugi::xml_node child : element.children()) {
        const std::size_t end = NodeEnd(child);
        if (!IsCharacterData(child)) {
            content.append(text_, position, end - position);
        } else if (!std::exchange(placed, true)) {
            content += encoded;
        }
        position = end;
    }
    if (!placed) content.insert(0, encoded);
    return ReplaceContent(element, span, span.content_begin, span.content_end - span.content_begin,
                          content);
}

bool ConfigDocument::Splice(std::size_t position, std::size_t length,
                            std::string_view replacement) {
    std::string text;
    text.reserve(text_.size() - length + replacement.size());
    text.append(text_, 0, position).append(replacement).append(text_, position + length);
    return Load(std::move(text));
}

// Replaces a part of an element's content, opening up an element that has none.
bool ConfigDocument::ReplaceContent(pugi::xml_node element, const Span& span, std::size_t position,
                                    std::size_t length, std::string_view replacement) {
    if (!span.self_closing) return Splice(position, length, replacement);
    std::string opened = ">";
    opened.append(replacement).append("</").append(element.name()).append(">");
    return Splice(position, std::strlen("/>"), opened);
}

bool ConfigDocument::InsertChild(pugi::xml_node parent, const std::string& source) {
    if (!parent) {
        const std::string end(LineEnd());
        if (!Root() && !Splice(text_.size(), 0, "<zvCFG>" + end + "</zvCFG>" + end)) return false;
        parent = Root();
    }
    const Span span = SpanOf(parent);
    const std::string end(LineEnd());
    // Blanks before the end tag; they end behind the last character that is none, which is at the
    // latest the bracket of the start tag.
    std::size_t blanks = span.content_end;
    while (blanks > span.content_begin && kBlanks.find(text_[blanks - 1]) != kBlanks.npos)
        --blanks;

    const std::string_view tail = std::string_view(text_).substr(blanks, span.content_end - blanks);
    if (tail.find_first_of("\r\n") != tail.npos) {
        const std::string indent = ChildIndent(parent, IndentBefore(span.content_end));
        return Splice(blanks, 0, end + indent + source);
    }
    const bool empty = blanks == span.content_begin;
    if (!empty || !(StartsLine(span.start) || parent == Root())) {
        return ReplaceContent(parent, span, span.content_end, 0, source);
    }
    const std::string outer(IndentBefore(span.start));
    return ReplaceContent(parent, span, span.content_end, 0,
                          end + ChildIndent(parent, outer) + source + end + outer);
}

ConfigDocument::Span ConfigDocument::SpanOf(pugi::xml_node element) const {
    const std::size_t start = SourceOffset(element) - 1;
    const std::size_t bracket = StartTagEnd(start);
    if (text_[bracket - 1] == '/') return {start, bracket - 1, bracket - 1, true};
    const pugi::xml_node last = element.last_child();
    return {start, bracket + 1, last ? NodeEnd(last) : bracket + 1, false};
}

// Position of the bracket that ends the start tag at `start`.
std::size_t ConfigDocument::StartTagEnd(std::size_t start) const {
    std::size_t position = text_.find_first_of("\"'>", start);
    while (text_[position] != '>') {
        position = text_.find(text_[position], position + 1);
        position = text_.find_first_of("\"'>", position + 1);
    }
    return position;
}

// Position behind a node: behind its last descendant and then behind one end tag for each level.
std::size_t ConfigDocument::NodeEnd(pugi::xml_node node) const {
    int levels = 0;
    for (; node.last_child(); node = node.last_child())
        ++levels;
    std::size_t position = LeafEnd(node);
    for (; levels > 0; --levels)
        position = text_.find('>', position) + 1;
    return position;
}

std::size_t ConfigDocument::LeafEnd(pugi::xml_node node) const {
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

// The indent of the last child on a line of its own. Without one, that of the parent and the step
// from the grandparent to the parent.
std::string ConfigDocument::ChildIndent(pugi::xml_node parent,
                                        std::string_view parent_indent) const {
    for (pugi::xml_node child = parent.last_child(); child; child = child.previous_sibling()) {
        if (child.type() != pugi::node_element) continue;
        const std::size_t start = SourceOffset(child) - 1;
        if (StartsLine(start)) return std::string(IndentBefore(start));
    }
    std::string indent(parent_indent);
    const pugi::xml_node grandparent = parent.parent();
    if (grandparent.type() == pugi::node_element) {
        const std::string_view outer = IndentBefore(SourceOffset(grandparent) - 1);
        if (parent_indent.starts_with(outer)) {
            return indent.append(parent_indent.substr(outer.size()));
        }
    }
    return indent.append("  ");
}

bool ConfigDocument::StartsLine(std::size_t position) const {
    const std::size_t begin = position - IndentBefore(position).size();
    return begin == 0 || text_[begin - 1] == '\n' || text_[begin - 1] == '\r' ||
           (begin == kByteOrderMark.size() && text_.starts_with(kByteOrderMark));
}

std::string_view ConfigDocument::IndentBefore(std::size_t position) const {
    const std::string_view before = std::string_view(text_).substr(0, position);
    return before.substr(before.find_last_not_of(" \t") + 1);
}

// The first line end of the text stands for all.
std::string_view ConfigDocument::LineEnd() const {
    const std::size_t first = text_.find_first_of("\r\n");
    if (first == text_.npos || text_[first] == '\n') return "\n";
    return text_.compare(first, 2, "\r\n") == 0 ? "\r\n" : "\r";
}

}  // namespace zvevent
