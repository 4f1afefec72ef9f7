// The configuration tree: what opens, what is read and written, and what a save leaves alone.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "support/temp_directory.h"
#include "zvutil/zvutil.h"

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;
using Tree = std::shared_ptr<zvCFGTree>;

constexpr const char* kFile = "\xC3\xA4\xE2\x82\xAC.xml";  // paths are UTF-8

std::string Get(const Tree& tree, const char* key, const char* name, std::uint32_t size = 8192) {
    std::string buffer(size, '?');
    if (zvCFGValueString(tree.get(), key, name, buffer.data(), &size, 0) != 0) return "(none)";
    EXPECT_EQ(buffer.at(size), '\0');
    return buffer.substr(0, size);
}

bool Set(const Tree& tree, const char* key, const char* name, std::string text) {
    return zvCFGValueString(tree.get(), key, name, text.data(), nullptr, 1) == 0;
}

bool Add(const Tree& tree, const char* parent, const char* name) {
    return zvCFGAddKeyString(tree.get(), parent, name, "", 0, 0) == 0;
}

bool Save(const Tree& tree) {
    return zvCFGSave(tree.get(), 0, 1) == 0;
}

struct ConfigTree : ::testing::Test {
    std::string Read() const { return directory_.Read(kFile); }
    Tree Open() const {
        return {zvCFGOpen(directory_.File(kFile).c_str(), 0), [](auto* t) { zvCFGClose(t, 1); }};
    }
    Tree OpenText(const std::string& text) const {
        directory_.Write(kFile, text);
        return Open();
    }
    std::string Fault() const {
        char reason[64] = "";
        std::uint32_t line = 0, column = 0;
        EXPECT_EQ(zvCFGFindFault(directory_.File(kFile).c_str(), reason, 64, &line, &column), 0U);
        EXPECT_STRNE(reason, "");
        return std::to_string(line) + ':' + std::to_string(column);
    }
    zvevent::test::TempDirectory directory_;
};

TEST_F(ConfigTree, OpensWellFormedFilesOnly) {
    const auto nested = [](int depth) {
        std::string text;
        while (--depth >= 0)
            text.insert(0, "<key>").append("</key>");
        return text;
    };
    EXPECT_EQ(Open(), nullptr) << "missing file";
    for (const std::string& text :
         {""s, " \r\n\t"s, "\xEF\xBB\xBF"s, nested(256),
          "\xEF\xBB\xBF<?xml version='1.0'?><!DOCTYPE a><!-- c --><a b='>\"'/><?pi x?>\n"s})
        EXPECT_NE(OpenText(text), nullptr) << text.substr(0, 80);
    // Each behind the place where the fault is said to be.
    for (const std::string& refused :
         {"1:3 <a>"s, "2:3 <a>\n</b>"s, "1:6 <a b=c/>"s, "3:5 <a\n\n b=\"c/>"s,
          "1:12 <a><!-- </a>"s, "2:3 <a/>\n <b/>"s, "1:1 x<a/>"s, "1:5 <a/>x"s,
          "1:14 <a/><![CDATA[]]>"s, "0:0 <?xml version='1.0'?>"s, "1:5 <a/>\0"s,
          "1:4 \xFF\xFE<\0a\0/\0>\0"s, "1:1282 " + nested(257), "1:1282 " + nested(10'000)}) {
        const std::size_t text = refused.find(' ') + 1;
        EXPECT_EQ(OpenText(refused.substr(text)), nullptr) << refused.substr(0, 80);
        EXPECT_EQ(Fault() + ' ', refused.substr(0, text)) << refused.substr(0, 80);
    }
}

TEST_F(ConfigTree, TextsAndNamesSurviveARoundTrip) {
    const std::string longer(5000, 'x');
    for (const std::string file : {"", "<r>\r\n</r>\r\n"}) {
        for (const char* const text :
             {"", " ", "\t x \n", "a\r\nb\rc\n\n", "\"'<>&;", "]]>", "&lt;&#13;&amp;lt;",
              "<!-- x -->", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xE4\xFF", "\x01\x1F\x7F",
              longer.c_str()}) {
            const std::string name = ("n" + std::string(text)).substr(0, 500);  // of key and value
            const char* const n = name.c_str();
            const Tree tree = OpenText(file);
            ASSERT_TRUE(Add(tree, n, "") && Set(tree, n, n, "first") && Set(tree, n, n, text));
            ASSERT_TRUE(Save(tree));
            EXPECT_EQ(Get(Open(), n, n), text) << Read();
        }
        EXPECT_EQ(Read().find('\r') != std::string::npos, !file.empty());
    }
}

TEST_F(ConfigTree, ReadsWhatOthersWrote) {
    const Tree tree = OpenText(
        "<any><key name='a&#x41;&lt;'><value x='1' name = 'v\n\tw'>1<![CDATA[<&amp;\r\n]]>"
        "<!-- no -->\r2&apos;&#169;&#x20ac;&no;&#0;&#xD800;&#1114112;& "
        "&#;&#x800;&#x10FFFF;<b>no</b></value>"
        "<value name='twice'>1</value><value name='twice'>2</value><value>unnamed</value>"
        "</key></any>");
    const char* const key = "aA<";
    EXPECT_EQ(Get(tree, key, "v  w"),
              "1<&amp;\n\n2'\xC2\xA9\xE2\x82\xAC&no;&#0;&#xD800;&#1114112;& "
              "&#;\xE0\xA0\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(Get(tree, key, "v  w", 4), "1<&") << "cut, and terminated";
    EXPECT_EQ(Get(tree, key, "twice") + Get(tree, key, "Twice") + Get(tree, key, ""),
              "1(none)(none)");
    for (const char* const path : {"aa<", "aA<\\", "\\aA<", "aA<\\twice", "aA", key})
        EXPECT_EQ(zvCFGKeyExists(tree.get(), path) != 0, path == key) << path;
}

TEST_F(ConfigTree, KeepsEveryByteItDidNotWrite) {
    const std::string head =
        "\xEF\xBB\xBF<?xml version='1.0'  encoding=\"utf-8\" ?>\r\n<!DOCTYPE cfg [<!ENTITY e 'x>'>"
        "]>\n<!-- top > < -->\r<cfg  a = '>\"/>'\tb=\"'\" >\n  <other><![CDATA[</key>]]>&e;\xFF"
        "<key name='core'/></other><?pi </cfg> ?>\n   <key\n name='core' z='/>'>\r\n"
        "      <value name='x' >";
    const std::string middle = "</value >  <!-- </key> -->";
    const std::string tail =
        "\r\n\r\n  </key\n>  <key name='core'><!-- second --></key>\n</cfg >\n\n";
    const Tree tree = OpenText(head + " 0<!-- c --> <x/><![CDATA[0]]>" + middle + tail);
    ASSERT_NE(tree, nullptr);
    EXPECT_TRUE(Set(tree, "core", "x", "2") && Add(tree, "core", "a") && Add(tree, "core", "a"));
    EXPECT_TRUE(Set(tree, "core\\a", "new", "1"));
    EXPECT_FALSE(Add(tree, "none", "a") || Set(tree, "none", "v", "1") || Add(tree, "", "a\\"));
    EXPECT_TRUE(Save(tree));
    EXPECT_EQ(Read(), head + "2<!-- c --><x/>" + middle +
                          "\r\n      <key name=\"a\">\r\n         <value name=\"new\">1</value>"
                          "\r\n      </key>" +
                          tail);
}

TEST_F(ConfigTree, WritesWhatWasSetInAnyOrderAndNoDeeperThanItOpens) {
    const Tree two = OpenText("<r><value name='a'>1</value> <value name='b'>1</value></r>");
    EXPECT_TRUE(Set(two, "", "b", "22") && Set(two, "", "a", "333") && Save(two));
    EXPECT_EQ(Read(), "<r><value name='a'>333</value> <value name='b'>22</value></r>");
    const Tree deep = OpenText("<r/>");
    std::string path = "k";
    int keys = 0;
    for (std::string parent; keys < 1000 && Add(deep, parent.c_str(), "k"); ++keys, path += "\\k")
        parent = path;
    EXPECT_LT(keys, 1000);
    EXPECT_TRUE(Save(deep));
    EXPECT_NE(Open(), nullptr) << keys;
}

TEST_F(ConfigTree, EnumeratesAddressableChildrenOnceInOrder) {
    const std::string longest(511, 'n');
    const Tree tree = OpenText(
        "<r><key name='k'>text<key name='b'/><value name='a'/><other name='o'/>"
        "<key name='b'/><key name=''/><value/><key name='x\\y'/><value name='" +
        longest + "'/><value name='" + longest + "n'/><value name='both'/>" +
        "<value name='a'/><key name='both'/><key name='&#98;'/></key></r>");
    std::string children;
    char name[kZvCfgNameSize] = "";
    std::uint32_t flag = 9;
    while (children.size() < 2000 && zvCFGGetNext(tree.get(), "k", name, name, &flag) == 0)
        children += name + std::to_string(flag) + " ";
    EXPECT_EQ(children, "b0 a1 " + longest + "1 both0 ");
    EXPECT_EQ(zvCFGGetNext(tree.get(), "k", name, "unknown", &flag), kZvCfgNoMore);
    EXPECT_EQ(zvCFGGetNext(tree.get(), "missing", name, "", &flag), kZvCfgNoMore);
}

TEST_F(ConfigTree, SavesOnlyWhatChangedAndKeepsTheMode) {
    const Tree tree = OpenText("<r><value name='v'>1</value></r>");
    const fs::path file = directory_.Path(kFile);
    fs::permissions(file, fs::perms::owner_all | fs::perms::group_read);
    const fs::perms mode = fs::status(file).permissions();
    const auto long_ago = fs::last_write_time(file) - std::chrono::hours(48);
    fs::last_write_time(file, long_ago);
    EXPECT_TRUE(Set(tree, "", "v", "1") && Save(tree));
    EXPECT_TRUE(Set(tree, "", "v", "2") && Set(tree, "", "v", "1") && Save(tree));
    EXPECT_EQ(fs::last_write_time(file), long_ago);
    EXPECT_TRUE(Set(tree, "", "v", "2") && Save(tree));
    EXPECT_EQ(Read(), "<r><value name='v'>2</value></r>");
    EXPECT_EQ(fs::status(file).permissions(), mode);
}

TEST_F(ConfigTree, AFailingSaveLeavesNothingBehindAndCanBeRepeated) {
    const Tree tree = OpenText("<r/>");
    ASSERT_TRUE(Set(tree, "", "v", "2"));
    fs::remove(directory_.Path(kFile));
    EXPECT_FALSE(Save(tree)) << "the file is gone";
    directory_.Write(kFile, "<r>someone else's</r>");
    EXPECT_FALSE(Save(tree));
    EXPECT_EQ(Read(), "<r>someone else's</r>");
    directory_.Write(kFile, "<r/>");
    EXPECT_TRUE(Save(tree));
    EXPECT_EQ(Get(Open(), "", "v"), "2");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory_.Path("")), {}), 1);
}

}  // namespace
