// The configuration tree: what opens, what is read and written, and what a save leaves alone.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/zvutil.h"

namespace {

namespace fs = std::filesystem;

struct TreeCloser {
    void operator()(zvCFGTree* tree) const { zvCFGClose(tree, 1); }
};
using Tree = std::unique_ptr<zvCFGTree, TreeCloser>;

// A text with bytes of its own, zero among them.
template <std::size_t size>
std::string Bytes(const char (&literal)[size]) {
    return std::string(literal, size - 1);
}

std::string Nested(int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "<key>";
    for (int i = 0; i < depth; ++i)
        text += "</key>";
    return text;
}

std::optional<std::string> Get(const Tree& tree, const char* key, const char* name,
                               std::uint32_t size = 2048) {
    std::string buffer(size, '?');
    std::uint32_t length = size;
    if (zvCFGValueString(tree.get(), key, name, buffer.data(), &length, 0) != 0) return {};
    EXPECT_EQ(buffer.at(length), '\0');
    return buffer.substr(0, length);
}

bool Set(const Tree& tree, const char* key, const char* name, std::string text) {
    return zvCFGValueString(tree.get(), key, name, text.data(), nullptr, 1) == 0;
}

bool Add(const Tree& tree, const char* parent, const char* name) {
    return zvCFGAddKeyString(tree.get(), parent, name, "", 0, 0) == 0;
}

class ConfigTree : public ::testing::Test {
protected:
    void SetUp() override {
        directory_ = fs::temp_directory_path() /
                     ("zvcfg-" + std::to_string(zvOSGetTimePTPNano()) + "-" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        ASSERT_TRUE(fs::create_directory(directory_));
        file_ = directory_ / "events.xml";
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }

    void Write(const std::string& text) const { std::ofstream(file_, std::ios::binary) << text; }
    std::string Read() const {
        std::ifstream stream(file_, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    Tree Open() const { return Tree(zvCFGOpen(file_.string().c_str(), 0)); }
    Tree Open(const std::string& text) const {
        Write(text);
        return Open();
    }
    static bool Save(const Tree& tree) { return zvCFGSave(tree.get(), 0, 1) == 0; }
    std::set<std::string> FileNames() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    fs::path directory_;
    fs::path file_;
};

TEST_F(ConfigTree, OpensWellFormedFilesOnly) {
    EXPECT_EQ(Open(), nullptr) << "missing file";
    EXPECT_EQ(zvCFGOpen(directory_.string().c_str(), 0), nullptr);
    EXPECT_EQ(zvCFGOpen(nullptr, 0), nullptr);
    const std::string bom = "\xEF\xBB\xBF";
    const std::string prolog = "<?xml version=\"1.0\"?>";
    for (const std::string& text :
         {std::string(), std::string(" \r\n\t"), bom, Nested(256),
          bom + prolog + "<!DOCTYPE a><!-- c --><a b='>\"'/><?pi x?>\n"}) {
        EXPECT_NE(Open(text), nullptr) << text.substr(0, 80);
    }
    for (const char* const text : {"<a>", "<a></b>", "<a b=c/>", "<a b=\"c/>", "<a><!-- </a>",
                                   "<a/><b/>", "x<a/>", "<a/>x", "<a/><![CDATA[]]>"}) {
        EXPECT_EQ(Open(text), nullptr) << text;
    }
    for (const std::string& text :
         {prolog, Bytes("<a/>\0"), Bytes("\xFF\xFE<\0a\0/\0>\0"), Nested(257), Nested(100000)}) {
        EXPECT_EQ(Open(text), nullptr) << text.substr(0, 80);
    }
}

TEST_F(ConfigTree, TextsAndNamesSurviveARoundTrip) {
    const std::string longer(5000, 'x');
    const char* const names[] = {"plain", " \"<&>' ", "tab\tlf\ncr\r", "\x01\xC3\xA4\xFF", "a/b"};
    for (const std::string file : {"", "<r>\r\n</r>\r\n"}) {
        for (const char* const text :
             {"", " ", "\t x \n", "a\r\nb\rc\n\n", "\"'<>&;", "]]>", "&lt;&#13;&amp;lt;",
              "<!-- x -->", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xE4\xFF", "\x01\x1F\x7F",
              longer.c_str()}) {
            Tree tree = Open(file);
            for (const char* const name : names) {
                ASSERT_TRUE(Add(tree, name, ""));
                ASSERT_TRUE(Set(tree, name, name, "first"));
                ASSERT_TRUE(Set(tree, name, name, text));
            }
            ASSERT_TRUE(Save(tree));
            tree = Open();
            ASSERT_NE(tree, nullptr) << Read();
            for (const char* const name : names)
                EXPECT_EQ(Get(tree, name, name, 8192), text);
        }
        EXPECT_EQ(Read().find('\r') != std::string::npos, !file.empty());
    }
}

TEST_F(ConfigTree, ReadsWhatOthersWrote) {
    const Tree tree = Open(
        "<any><key name='a&#x41;&lt;'><value x='1' name = 'v\n\tw'>1<![CDATA[<&amp;\r\n]]>"
        "<!-- no -->\r2&apos;&#169;&#x20ac;&no;&#0;&#xD800;&#1114112;& &#;<b>no</b></value>"
        "<value name='empty'/><value name='twice'>1</value><value name='twice'>2</value>"
        "<value>unnamed</value></key></any>");
    const char* const key = "aA<";
    EXPECT_EQ(Get(tree, key, "v  w"),
              "1<&amp;\n\n2'\xC2\xA9\xE2\x82\xAC&no;&#0;&#xD800;&#1114112;& &#;");
    EXPECT_EQ(Get(tree, key, "empty"), "");
    EXPECT_EQ(Get(tree, key, "twice"), "1");
    EXPECT_EQ(Get(tree, key, "Twice"), std::nullopt);
    EXPECT_EQ(Get(tree, key, ""), std::nullopt);
    EXPECT_EQ(Get(tree, "aa<", "empty"), std::nullopt);
    for (const char* const path : {"aA<\\", "\\aA<", "aA<\\empty", "aA"}) {
        EXPECT_EQ(zvCFGKeyExists(tree.get(), path), 0u) << path;
    }
}

TEST_F(ConfigTree, NumbersAreDecimalDigitsOnly) {
    std::uint32_t number = 77;
    const auto read = [&](const std::string& text) {
        const Tree tree = Open("<r><value name='n'>" + text + "</value></r>");
        return zvCFGValueDword(tree.get(), "", "n", &number, 0) == 0;
    };
    for (const char* const text :
         {"", " 5", "5 ", "+5", "-1", "5s", "0x5", "5.0", "4294967296", "99999999999999999999"}) {
        EXPECT_FALSE(read(text)) << text;
        EXPECT_EQ(number, 77u) << text;
    }
    const std::pair<const char*, std::uint32_t> good[] = {
        {"0", 0}, {"007", 7}, {"&#53;", 5}, {"4294967295", 4294967295}};
    for (const auto& [text, expected] : good) {
        EXPECT_TRUE(read(text)) << text;
        EXPECT_EQ(number, expected) << text;
    }
    const Tree tree = Open("<r/>");
    EXPECT_EQ(zvCFGValueDword(tree.get(), "", "n", &number, 1), 0u);
    EXPECT_EQ(Get(tree, "", "n"), "4294967295");
}

TEST_F(ConfigTree, ALongTextIsReadCutAndStaysWhole) {
    const std::string text(3000, 'x');
    const std::string file = "<r><value name='long'>" + text + "</value></r>";
    const Tree tree = Open(file);
    EXPECT_EQ(Get(tree, "", "long"), text.substr(0, 2047));
    EXPECT_EQ(Get(tree, "", "long", 1), "");
    EXPECT_TRUE(Set(tree, "", "other", "1"));
    ASSERT_TRUE(Save(tree));
    EXPECT_NE(Read().find(text), std::string::npos);
}

// Adds the key "a\b" the way a loader does, and a value in it.
TEST_F(ConfigTree, WritesInTheLayoutOfTheFile) {
    const struct {
        std::string before;
        std::string after;
    } cases[] = {
        {"",
         "<zvCFG>\n  <key name=\"a\">\n    <key name=\"b\">\n      <value name=\"v\">1</value>\n"
         "    </key>\n  </key>\n</zvCFG>\n"},
        {"\xEF\xBB\xBF<r />",
         "\xEF\xBB\xBF<r >\n  <key name=\"a\">\n    <key name=\"b\">\n"
         "      <value name=\"v\">1</value>\n    </key>\n  </key>\n</r>"},
        {"<r>\r\n\t<key name='a'>\r\n\t</key>\r\n</r>",
         "<r>\r\n\t<key name='a'>\r\n\t\t<key name=\"b\">\r\n\t\t\t<value name=\"v\">1</value>\r\n"
         "\t\t</key>\r\n\t</key>\r\n</r>"},
        {"<r><key name='a'><key name='b'/></key></r>",
         "<r><key name='a'><key name='b'><value name=\"v\">1</value></key></key></r>"},
        {"<r>\n<key name='a'>\n<key name='b'>\n</key>\n</key>\n</r>",
         "<r>\n<key name='a'>\n<key name='b'>\n<value name=\"v\">1</value>\n</key>\n</key>\n</r>"},
        {"<r>\n <key name='a'>\n     <key name='b' ><value name='v'> 0<!-- c --> <x/><![CDATA[0]]>"
         "</value></key></key> text</r>",
         "<r>\n <key name='a'>\n     <key name='b' ><value name='v'>1<!-- c --><x/>"
         "</value></key></key> text</r>"},
    };
    for (const auto& [before, after] : cases) {
        const Tree tree = Open(before);
        EXPECT_TRUE(Add(tree, "a", ""));
        EXPECT_TRUE(Add(tree, "a", "b"));
        EXPECT_TRUE(Set(tree, "a\\b", "v", "1"));
        EXPECT_TRUE(Save(tree));
        EXPECT_EQ(Read(), after);
    }
    const Tree tree = Open("<r/>");
    EXPECT_FALSE(Add(tree, "missing", "a"));
    EXPECT_FALSE(Add(tree, "", "a\\b"));
    EXPECT_FALSE(Add(tree, "", std::string(512, 'n').c_str()));
    EXPECT_FALSE(Set(tree, "missing", "v", "1"));
    EXPECT_FALSE(Set(tree, "", "", "1"));
}

TEST_F(ConfigTree, KeepsEveryByteItDidNotWrite) {
    const std::string head =
        "\xEF\xBB\xBF<?xml version='1.0'  encoding=\"utf-8\" ?>\r\n<!DOCTYPE cfg [<!ENTITY e 'x>'>"
        "]>\n<!-- top > < -->\r<cfg  a = '>\"/>'\tb=\"'\" >\n  <other><![CDATA[</key>]]>&e;\xFF"
        "<key name='core'/></other><?pi </cfg> ?>\n   <key\n name='core' z='/>'>\r\n"
        "      <value name='x' > 1\t</value >  <!-- </key> -->";
    const std::string tail =
        "\r\n\r\n  </key\n>  <key name='core'><!-- second --></key>\n</cfg >\n\n";
    const Tree tree = Open(head + tail);
    ASSERT_NE(tree, nullptr);
    EXPECT_TRUE(Set(tree, "core", "new", "1"));
    ASSERT_TRUE(Save(tree));
    EXPECT_EQ(Read(), head + "\r\n      <value name=\"new\">1</value>" + tail);
}

TEST_F(ConfigTree, EnumeratesAddressableChildrenOnceInOrder) {
    const std::string longest(511, 'n');
    const Tree tree = Open(
        "<r><key name='k'>text<key name='b'/><value name='a'/><other name='o'/>"
        "<key name='b'/><key name=''/><value/><key name='x\\y'/><value name='" +
        longest + "'/><value name='" + longest + "n'/><value name='both'/>" +
        "<value name='a'/><key name='both'/><key name='&#98;'/></key></r>");
    std::vector<std::pair<std::string, std::uint32_t>> children;
    char name[kZvCfgNameSize] = "";
    std::uint32_t flag = 9;
    while (children.size() < 100 && zvCFGGetNext(tree.get(), "k", name, name, &flag) == 0) {
        children.emplace_back(name, flag);
    }
    const decltype(children) expected = {{"b", 0}, {"a", 1}, {longest, 1}, {"both", 0}};
    EXPECT_EQ(children, expected);
    EXPECT_EQ(zvCFGGetNext(tree.get(), "k", name, "unknown", &flag), kZvCfgNoMore);
    EXPECT_EQ(zvCFGGetNext(tree.get(), "missing", name, "", &flag), kZvCfgNoMore);
    // A child that is written during an enumeration belongs to it.
    EXPECT_TRUE(Add(tree, "k", "late"));
    EXPECT_EQ(zvCFGGetNext(tree.get(), "k", name, "both", &flag), 0u);
    EXPECT_STREQ(name, "late");
}

TEST_F(ConfigTree, SavesOnlyWhatChanged) {
    const Tree tree = Open("<r><value name='v'>1</value></r>");
    const auto long_ago = fs::last_write_time(file_) - std::chrono::hours(48);
    fs::last_write_time(file_, long_ago);
    EXPECT_TRUE(Set(tree, "", "v", "1"));
    EXPECT_TRUE(Save(tree));
    EXPECT_TRUE(Set(tree, "", "v", "2"));
    EXPECT_TRUE(Set(tree, "", "v", "1"));
    EXPECT_TRUE(Save(tree));
    EXPECT_EQ(fs::last_write_time(file_), long_ago);
    EXPECT_TRUE(Set(tree, "", "v", "2"));
    EXPECT_TRUE(Save(tree));
    EXPECT_NE(fs::last_write_time(file_), long_ago);
    EXPECT_EQ(FileNames(), std::set<std::string>{"events.xml"});
}

TEST_F(ConfigTree, SavingKeepsTheModeAndTheSymbolicLink) {
    Write("<r/>");
    fs::permissions(file_, fs::perms::owner_all | fs::perms::group_read);
    const fs::perms mode = fs::status(file_).permissions();
    const fs::path target = file_;
    file_ = directory_ / "link.xml";
    std::error_code unsupported;
    fs::create_symlink("events.xml", file_, unsupported);
    if (unsupported) file_ = target;

    const Tree tree = Open();
    ASSERT_TRUE(Set(tree, "", "v", "1"));
    ASSERT_TRUE(Save(tree));
    EXPECT_EQ(fs::is_symlink(file_), !unsupported);
    EXPECT_FALSE(fs::is_symlink(target));
    EXPECT_EQ(fs::status(target).permissions(), mode);
    EXPECT_EQ(Get(Open(), "", "v"), "1");
}

TEST_F(ConfigTree, AFailingSaveLeavesNothingBehindAndCanBeRepeated) {
    Write("<r/>");
    constexpr auto kWrite =
        fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(file_, kWrite, fs::perm_options::remove);
    // A superuser may write in spite of the mode.
    const bool writable = std::ofstream(file_, std::ios::app).is_open();
    const Tree tree = Open();
    ASSERT_TRUE(Set(tree, "", "v", "1"));
    const bool saved = Save(tree);
    EXPECT_FALSE(saved && !writable);
    EXPECT_EQ(Read() == "<r/>", !saved);
    EXPECT_EQ(FileNames(), std::set<std::string>{"events.xml"});
    fs::permissions(file_, kWrite, fs::perm_options::add);

    const std::string before = Read();
    ASSERT_TRUE(Set(tree, "", "v", "2"));
    fs::remove(file_);
    EXPECT_FALSE(Save(tree));
    EXPECT_EQ(FileNames(), std::set<std::string>{});
    Write("<r>someone else's</r>");
    EXPECT_FALSE(Save(tree));
    EXPECT_EQ(Read(), "<r>someone else's</r>");
    Write(before);
    EXPECT_TRUE(Save(tree));
    EXPECT_EQ(Get(Open(), "", "v"), "2");
}

TEST_F(ConfigTree, PathsAreUtf8) {
    const std::string directory = directory_.string() + "/d-\xC3\xA4\xE2\x82\xAC";
    EXPECT_EQ(zvOSFileIsDir(directory.c_str()), 0u);
    EXPECT_EQ(zvOSMakeDir(directory.c_str(), 0775), 0u);
    EXPECT_NE(zvOSMakeDir(directory.c_str(), 0775), 0u);
    EXPECT_NE(zvOSFileIsDir(directory.c_str()), 0u);

    const fs::path wide = directory_ / fs::path(u8"d-\u00E4\u20AC") / fs::path(u8"\u00FC.xml");
    std::ofstream(wide, std::ios::binary) << "<r/>";
    const std::string path = directory + "/\xC3\xBC.xml";
    EXPECT_EQ(zvOSFileIsDir(path.c_str()), 0u);
    const Tree tree(zvCFGOpen(path.c_str(), 0));
    ASSERT_NE(tree, nullptr);
    ASSERT_TRUE(Set(tree, "", "v", "1"));
    EXPECT_TRUE(Save(tree));
    EXPECT_GT(fs::file_size(wide), 4u);
}

}  // namespace
