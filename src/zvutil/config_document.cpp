#include "zvutil/config_document.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "zvutil/xml_text.h"

namespace zvevent {
namespace {

constexpr const char* kKeyElement = "key";
constexpr const char* kValueElement = "value";
constexpr std::string_view kRootOfBlankText = "zvCFG";

// Everything becomes a node and nothing is converted, so that a node's value has the length of its
// source. parse_fragment makes text outside the root visible instead of dropping it.
constexpr unsigned int kVerbatim = pugi::parse_pi | pugi::parse_comments | pugi::parse_cdata |
                                   pugi::parse_ws_pcdata | pugi::parse_declaration |
                                   pugi::parse_doctype | pugi::parse_fragment;

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(kXmlBlanks) == text.npos;
}

std::string_view WithoutByteOrderMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

// What the parser lets pass: text and further elements outside the root, and any depth.
struct StructureCheck : pugi::xml_tree_walker {
    int roots = 0;
    std::optional<ConfigDocument::Fault> fault;

    bool for_each(pugi::xml_node& node) override {
        const char* const reason = FaultOf(node);
        if (reason != nullptr) fault = {reason, static_cast<std::size_t>(node.offset_debug())};
        return reason == nullptr;
    }

    const char* FaultOf(pugi::xml_node node) {
        const pugi::xml_node_type type = node.type();
        if (type == pugi::node_element) {
            if (depth() == 0 && ++roots > 1) return "a second root element";
            return depth() < ConfigDocument::kMaxDepth ? nullptr : "elements nested too deep";
        }
        const bool is_text =
            type == pugi::node_cdata || (type == pugi::node_pcdata && !IsBlank(node.value()));
        return depth() == 0 && is_text ? "text outside the root element" : nullptr;
    }
};

// Looks for what a configuration file cannot be.
std::optional<ConfigDocument::Fault> Parse(const std::string& text, pugi::xml_document& tree) {
    using Fault = ConfigDocument::Fault;
    if (text.size() > ConfigDocument::kMaxBytes) return Fault{"larger than 64 MiB", {}};
    if (const std::size_t zero = text.find('\0'); zero != text.npos) {
        return Fault{"a byte of value 0", zero};
    }
    if (IsBlank(WithoutByteOrderMark(text))) return std::nullopt;
    const pugi::xml_parse_result result =
        tree.load_buffer(text.data(), text.size(), kVerbatim, pugi::encoding_utf8);
    if (!result) return Fault{result.description(), static_cast<std::size_t>(result.offset)};
    StructureCheck check;
    tree.traverse(check);
    if (!check.fault && check.roots == 0) return Fault{"no root element", {}};
    return check.fault;
}

bool IsCharacterData(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

std::string NameOf(pugi::xml_node element) {
    std::string name;
    AppendDecoded(element.attribute("name").value(), XmlPlace::kAttribute, name);
    return name;
}

}  // namespace

struct ConfigDocument::Element {
    Kind kind = Kind::kKey;
    Element* parent = nullptr;
    pugi::xml_node source{};  // null for one that was added
    std::string name{};
    int depth = 0;

    std::unique_ptr<Index> index{};     // of a key that was looked into
    ChildLayout layout{};               // of the added children
    std::vector<Element*> added{};      // children
    std::optional<std::string> text{};  // of a value: what it was set to
};

struct ConfigDocument::Index {
    std::unordered_map<std::string_view, Child> child_of;  // the names are the elements'
    std::vector<const Child*> in_order;

    void Add(Element& element) {
        const auto [at, is_new] = child_of.try_emplace(element.name);
        Child& child = at->second;
        if (is_new) {
            child.name = element.name;
            child.position = in_order.size();
            in_order.push_back(&child);
        }
        Element*& first = element.kind == Kind::kKey ? child.key : child.value;
        child.repeated = child.repeated || first != nullptr;
        if (first == nullptr) first = &element;
    }
};

// A part of the loaded text and what stands there instead.
struct ConfigDocument::Edit {
    std::size_t position;
    std::size_t length;
    std::string replacement;
};

ConfigDocument::ConfigDocument() = default;
ConfigDocument::~ConfigDocument() = default;

std::optional<ConfigDocument::Fault> ConfigDocument::Load(std::string text) {
    text_ = std::move(text);
    if (const std::optional<Fault> fault = Parse(text_, tree_)) return fault;
    const pugi::xml_node root = tree_.document_element();
    if (root) root_ = &Make({.source = root});
    line_end_ = FirstLineEnd(text_);
    return std::nullopt;
}

ConfigDocument::Element& ConfigDocument::Make(Element element) {
    return *elements_.emplace_back(std::make_unique<Element>(std::move(element)));
}

bool ConfigDocument::IsAddressable(std::string_view name) {
    return !name.empty() && name.size() <= kMaxNameBytes && name.find(kSeparator) == name.npos;
}

// --- Looking up ----------------------------------------------------------------------------------

ConfigDocument::Index& ConfigDocument::IndexOf(Element& key) {
    if (key.index) return *key.index;
    auto index = std::make_unique<Index>();
    for (const pugi::xml_node child : key.source.children()) {
        const bool is_key = std::strcmp(child.name(), kKeyElement) == 0;
        if (!is_key && std::strcmp(child.name(), kValueElement) != 0) continue;
        std::string name = NameOf(child);
        if (!IsAddressable(name)) continue;
        index->Add(Make({.kind = is_key ? Kind::kKey : Kind::kValue,
                         .parent = &key,
                         .source = child,
                         .name = std::move(name),
                         .depth = key.depth + 1}));
    }
    key.index = std::move(index);
    return *key.index;
}

const ConfigDocument::Child* ConfigDocument::Find(Element& key, std::string_view name) {
    const Index& index = IndexOf(key);
    const auto found = index.child_of.find(name);
    return found != index.child_of.end() ? &found->second : nullptr;
}

const ConfigDocument::Child* ConfigDocument::Next(Element& key, const Child* previous) {
    const Index& index = IndexOf(key);
    const std::size_t position = previous != nullptr ? previous->position + 1 : 0;
    return position < index.in_order.size() ? index.in_order[position] : nullptr;
}

std::string ConfigDocument::TextOf(const Element& element) const {
    if (element.text) return *element.text;
    std::string text;
    for (const pugi::xml_node child : element.source.children()) {
        if (!IsCharacterData(child)) continue;
        const bool cdata = child.type() == pugi::node_cdata;
        AppendDecoded(child.value(), cdata ? XmlPlace::kCdata : XmlPlace::kText, text);
    }
    return text;
}

// --- Changing ------------------------------------------------------------------------------------

ConfigDocument::Element* ConfigDocument::AddKey(Element* parent, std::string_view name) {
    return Add(parent, Kind::kKey, name);
}

ConfigDocument::Element* ConfigDocument::AddValue(Element* parent, std::string_view name,
                                                  std::string_view text) {
    Element* const value = Add(parent, Kind::kValue, name);
    if (value != nullptr) value->text = text;
    return value;
}

ConfigDocument::Element* ConfigDocument::Add(Element* parent, Kind kind, std::string_view name) {
    if (parent == nullptr) {
        if (root_ == nullptr) root_ = &Make({});
        parent = root_;
    }
    if (parent->depth + 1 >= kMaxDepth) return nullptr;
    Index& index = IndexOf(*parent);
    if (parent->added.empty()) parent->layout = LayoutFor(*parent);
    NoteChange(*parent);
    Element& child = Make(
        {.kind = kind, .parent = parent, .name = std::string(name), .depth = parent->depth + 1});
    parent->added.push_back(&child);
    index.Add(child);
    return &child;
}

void ConfigDocument::SetText(Element& value, std::string_view text) {
    NoteChange(value);
    value.text = text;
}

// Before the change.
void ConfigDocument::NoteChange(Element& element) {
    if (element.source && element.added.empty() && !element.text) changed_.push_back(&element);
}

ChildLayout ConfigDocument::LayoutFor(const Element& parent) const {
    if (parent.source) return LayoutInside(text_, positions_, parent.source, line_end_);
    if (parent.parent == nullptr) return LayoutInsideAddedRoot(line_end_);
    return LayoutInsideAdded(parent.parent->layout, IndentOf(*parent.parent), line_end_);
}

std::string_view ConfigDocument::IndentOf(const Element& element) const {
    if (element.source) return positions_.IndentBefore(positions_.StartOf(element.source));
    if (element.parent == nullptr) return positions_.IndentBefore(text_.size());
    return element.parent->layout.indent;
}

// --- The changed text ----------------------------------------------------------------------------

std::string ConfigDocument::Text() const {
    std::vector<Edit> edits;
    edits.reserve(changed_.size());
    std::size_t growth = 0;
    for (const Element* const element : changed_)
        growth += edits.emplace_back(EditOf(*element)).replacement.size();
    std::sort(edits.begin(), edits.end(),
              [](const Edit& a, const Edit& b) { return a.position < b.position; });

    std::string text;
    text.reserve(text_.size() + growth);
    std::size_t done = 0;
    for (const Edit& edit : edits) {
        text.append(text_, done, edit.position - done).append(edit.replacement);
        done = edit.position + edit.length;
    }
    text.append(text_, done);
    if (root_ != nullptr && !root_->source) {
        text.append("<").append(kRootOfBlankText).append(">");
        AppendChildren(*root_, text);
        text.append("</").append(kRootOfBlankText).append(">").append(line_end_);
    }
    return text;
}

// Opens up an element that has no content.
ConfigDocument::Edit ConfigDocument::EditOf(const Element& changed) const {
    const XmlSpan span = positions_.SpanOf(changed.source);
    Edit edit{span.content_begin, span.content_end - span.content_begin, {}};
    if (span.self_closing) {
        edit.length = std::strlen("/>");
        edit.replacement = ">";
    }
    if (changed.text) {
        edit.replacement += ChangedContent(changed, span);
    } else {
        if (!span.self_closing) {
            edit.position = changed.layout.position;
            edit.length = 0;
        }
        AppendChildren(changed, edit.replacement);
    }
    if (span.self_closing) edit.replacement.append("</").append(changed.source.name()).append(">");
    return edit;
}

// The new text stands where the first piece of the old one stood.
std::string ConfigDocument::ChangedContent(const Element& value, const XmlSpan& span) const {
    std::string encoded;
    AppendEncoded(*value.text, XmlPlace::kText, line_end_, encoded);
    std::string content;
    bool placed = false;
    std::size_t position = span.content_begin;
    for (const pugi::xml_node child : value.source.children()) {
        const std::size_t end = positions_.NodeEnd(child);
        if (!IsCharacterData(child)) {
            content.append(text_, position, end - position);
        } else if (!std::exchange(placed, true)) {
            content += encoded;
        }
        position = end;
    }
    if (!placed) content.insert(0, encoded);
    return content;
}

void ConfigDocument::AppendChildren(const Element& parent, std::string& out) const {
    const ChildLayout& layout = parent.layout;
    for (const Element* const child : parent.added) {
        if (layout.own_lines) out.append(line_end_).append(layout.indent);
        AppendAdded(*child, out);
    }
    out += layout.closing;
}

void ConfigDocument::AppendAdded(const Element& element, std::string& out) const {
    const char* const name = element.kind == Kind::kKey ? kKeyElement : kValueElement;
    out.append("<").append(name).append(" name=\"");
    AppendEncoded(element.name, XmlPlace::kAttribute, line_end_, out);
    out += '"';
    if (element.kind == Kind::kKey && element.added.empty()) {
        out += "/>";
        return;
    }
    out += '>';
    if (element.text) AppendEncoded(*element.text, XmlPlace::kText, line_end_, out);
    AppendChildren(element, out);
    out.append("</").append(name).append(">");
}

}  // namespace zvevent
