// The option engine: flag matching on the real descriptor table, number
// conversion, program name, wildcard operands, path lists and token files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "driver/options.h"

// The engine keeps what it allocates to the end of the run, as the whole
// program does; a sanitizer build is not to count that as leaks.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

int32_t *const NUMBER_FLAGS[] = {&opt_ad, &opt_a,  &opt_c99, &opt_cc, &opt_ck, &opt_cp,
                                 &opt_cr, &opt_csb, &opt_e,  &opt_fr, &opt_f,  &opt_ge,
                                 &opt_l,  &opt_md, &opt_m,  &opt_nc, &opt_ne, &opt_np,
                                 &opt_ns, &opt_p,  &opt_rb, &opt_sa, &opt_s,  &opt_u,
                                 &opt_xd, &opt_xp, &opt_xu, &opt_xx, &opt_x};
const char *const NUMBER_NAMES[] = {"ad", "a",  "c99", "cc", "ck", "cp", "cr", "csb",
                                    "e",  "fr", "f",   "ge", "l",  "md", "m",  "nc",
                                    "ne", "np", "ns",  "p",  "rb", "sa", "s",  "u",
                                    "xd", "xp", "xu",  "xx", "x"};

void reset_options() {
    for (int32_t *flag : NUMBER_FLAGS)
        *flag = 0;
    error_name = nullptr;
    output_name = nullptr;
    define_list.count = header_list.count = include_list.count = FLAG_LIST_SLOTS;
}

std::string render_list(const char *name, const PathList &list) {
    if (list.count == list.capacity)
        return "";
    std::string text = std::string(" ") + name + "=[";
    for (int32_t i = list.capacity - 1; i >= list.count; i--) {
        text += list.slot[i];
        if (i > list.count)
            text += ",";
    }
    return text + "]";
}

// Every variable that is not zero, the lists in command-line order, then
// the operands behind a bar.
std::string render_state(int32_t warning_level, int argc, char **argv) {
    std::string text;
    for (size_t i = 0; i < std::size(NUMBER_FLAGS); i++)
        if (*NUMBER_FLAGS[i] != 0)
            text += std::string(" ") + NUMBER_NAMES[i] + "=" + std::to_string(*NUMBER_FLAGS[i]);
    if (warning_level != 0)
        text += " w=" + std::to_string(warning_level);
    if (error_name)
        text += std::string(" +e=\"") + error_name + "\"";
    if (output_name)
        text += std::string(" o=\"") + output_name + "\"";
    text += render_list("d", define_list) + render_list("h", header_list) +
            render_list("i", include_list);
    text += " |";
    for (int i = 0; i < argc; i++)
        text += std::string(" ") + argv[i];
    return text.substr(1);
}

// A writable argument vector over `args`, valid until the next call.
char **make_argv(const std::vector<std::string> &args, int *argc) {
    static std::vector<std::string> storage;
    static std::vector<char *> vector;
    storage = args;
    vector.clear();
    for (std::string &arg : storage)
        vector.push_back(arg.data());
    vector.push_back(nullptr);
    *argc = static_cast<int>(storage.size());
    return vector.data();
}

// Runs the command line `zcppc ARGS...` through the real flag table, and
// with `derive` the implied options too.
std::string parse(std::vector<std::string> args, bool derive = false) {
    reset_options();
    args.insert(args.begin(), "zcppc");
    int argc;
    char **argv = make_argv(args, &argc);
    int32_t warning_level = 0;
    parse_command_line(&argc, &argv, &warning_level);
    if (derive) {
        derive_implied_options(warning_level);
        return render_state(0, 0, nullptr);
    }
    return render_state(warning_level, argc, argv);
}

struct FlagCase {
    std::vector<std::string> args;
    const char *expected;
};

TEST(ParseFlags, CommandLinesGiveVariables) {
    const FlagCase cases[] = {
        {{"-e", "a.c"}, "e=1 | a.c"},
        {{"-e"}, "e=1 |"},
        {{"-ux", "a.c"}, "u=1 x=1 | a.c"},
        {{"-xdu"}, "u=1 xd=1 |"},
        {{"-xpxuxx"}, "xp=1 xu=1 xx=1 |"},
        {{"-ad"}, "ad=1 |"},
        {{"-a3"}, "a=3 |"},
        {{"-a", "3", "f.c"}, "a=3 | f.c"},
        {{"-c99", "-cc", "-ck", "-cp", "-csb"}, "c99=1 cc=1 ck=1 cp=1 csb=1 |"},
        {{"-cr", "-ge"}, "cr=1 ge=1 |"},
        {{"-fr", "-f"}, "fr=1 f=1 |"},
        {{"-frf"}, "fr=1 f=1 |"},
        {{"-l", "-nc", "-ne", "-np", "-ns", "-p", "-rb"}, "l=1 nc=1 ne=1 np=1 ns=1 p=1 rb=1 |"},
        {{"-sa", "-s"}, "sa=1 s=1 |"},
        {{"-md"}, "md=1 |"},
        {{"-m0x3030"}, "m=12336 |"},
        {{"-m", "12", "x.c"}, "m=12 | x.c"},
        {{"-mdm7"}, "md=1 m=7 |"},
        {{"-w0x10"}, "w=16 |"},
        {{"-w010"}, "w=8 |"},
        {{"-w-1"}, "w=-1 |"},
        {{"-w", "-5", "a.c"}, "w=-5 | a.c"},
        {{"-w4294967297"}, "w=1 |"},
        {{"-w3", "-w"}, "|"},
        {{"-e", "-o"}, "e=1 o=\"\" |"},
        {{"-oout.o", "a.c"}, "o=\"out.o\" | a.c"},
        {{"-o", "out.o", "a.c"}, "o=\"out.o\" | a.c"},
        {{"-eoout", "a.c"}, "e=1 o=\"out\" | a.c"},
        {{"+eerr.txt", "a.c"}, "+e=\"err.txt\" | a.c"},
        {{"+e", "err.txt", "a.c"}, "+e=\"err.txt\" | a.c"},
        {{"-e+eerr"}, "e=1 +e=\"err\" |"},
        {{"-dA=1", "-d", "B", "-dC"}, "d=[A=1,B,C] |"},
        {{"-i", "inc", "-h", "h1.h", "-iother", "a.c"}, "h=[h1.h] i=[inc,other] | a.c"},
        {{"-e", "-h"}, "e=1 h=[] |"},
        {{"-e", "--", "-x"}, "e=1 | -x"},
        {{"--", "a.c"}, "| a.c"},
        {{"-e", "-", "-x"}, "e=1 | - -x"},
        {{"-"}, "| -"},
        {{"a.c", "-x", "b.c"}, "| a.c -x b.c"},
        {{"a.c", "+eerr"}, "| a.c +eerr"},
        {{"-u", "-u"}, "u=1 |"},
    };
    for (const FlagCase &c : cases)
        EXPECT_EQ(parse(c.args), c.expected) << "zcppc " << testing::PrintToString(c.args);
}

TEST(ParseFlags, ListsTakeOneHundredTwentyEightEntries) {
    std::vector<std::string> args(FLAG_LIST_SLOTS, "-iX");
    args.push_back("a.c");
    parse(args);
    EXPECT_EQ(include_list.count, 0);
    EXPECT_STREQ(include_list.slot[0], "X");
}

struct FatalCase {
    std::vector<std::string> args;
    const char *message;   // regular expression for the standard error text
};

TEST(ParseFlagsDeathTest, FatalCommandLinesEndWithStatusOne) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char *usage = "^ZEPHON Software PPC C Parser \\(LIMITED\\) V4\\.8\\.12\\.1\n"
                        "usage: zcppc \\[options\\] file\n"
                        "    -ad   expand defines in assembly\n"
                        "    -a#   register allocation mode\n";
    const FatalCase cases[] = {
        {{"-z"}, "^zcppc: unknown option -z\n$"},
        {{"-ez", "a.c"}, "^zcppc: unknown option -z\n$"},
        {{"+x"}, "^zcppc: unknown option \\+x\n$"},
        {{"-c9"}, "^zcppc: unknown option -c9\n$"},
        {{"-w", "1.c"}, "^invalid number: 1\\.\n$"},
        {{"-m08"}, "^invalid number: 08\n$"},
        {{"-help"}, usage},
        {{"-e", "-help"}, usage},
        {{"-vers"}, "^ZEPHON Software PPC C Parser \\(LIMITED\\) V4\\.8\\.12\\.1 - 18 Dec 2008 - Win32\n$"},
    };
    for (const FatalCase &c : cases)
        EXPECT_EXIT(parse(c.args), testing::ExitedWithCode(1), c.message) << testing::PrintToString(c.args);
}

TEST(ParseFlagsDeathTest, OneHundredTwentyNinthEntryOverflows) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::vector<std::string> args(FLAG_LIST_SLOTS + 1, "-dX");
    EXPECT_EXIT(parse(args), testing::ExitedWithCode(1), "^argument list overflow\n$");
}

TEST(DeriveImpliedOptions, OptionsImplyOthers) {
    struct Case {
        std::vector<std::string> args;
        const char *expected;
    } const cases[] = {
        {{"-sa"}, "cp=1 nc=1 ne=1 sa=1"},
        {{"-nc"}, "cp=1 nc=1"},
        {{"-ck", "-w2"}, "ck=-1 p=1"},
        {{"-w2"}, "ck=2"},
        {{"-w8"}, ""},
        {{"-w9"}, "ck=1"},
        {{"-w-1"}, "ck=7"},
        {{"-xx"}, "l=1 xx=1 x=1"},
        {{"-xd"}, "l=1 xd=1 x=1"},
        {{"-x"}, "l=1 x=1"},
        {{"-xp", "-xu"}, "xp=1 xu=1"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(parse(c.args, true), c.expected + std::string(*c.expected ? " |" : "|")) << c.args[0];
}

TEST(ParseLong, ConvertsByBase) {
    struct Case {
        const char *text;
        int base;
        long value;
        int stop;   // offset of the first character not used
    } const cases[] = {
        {"123", 10, 123, 3},
        {"  -42x", 10, -42, 5},
        {"\t\n 5", 10, 5, 4},
        {"+7", 1, 7, 2},
        {"0x1F", 1, 31, 4},
        {"0X1f", 16, 31, 4},
        {"1F", 16, 31, 2},
        {"017", 1, 15, 3},
        {"08", 1, 0, 1},
        {"0", 1, 0, 1},
        {"", 1, 0, 0},
        {"0x", 1, 0, 2},
        {"0x10", 10, 0, 1},
        {"9", 8, 0, 0},
        {"z", 36, 35, 1},
        {"Zz", 36, 35 * 36 + 35, 2},
        {"4294967295", 10, -1, 10},
        {"4294967296", 10, 0, 10},
        {"2147483648", 1, -2147483647L - 1, 10},
        {"-2147483648", 1, -2147483647L - 1, 11},
        {"-0x10", 1, -16, 5},
        {"99999999999999999999", 10, 1661992959, 20},
    };
    for (const Case &c : cases) {
        long value = 12345;
        const char *stop = parse_long(c.text, &value, c.base);
        EXPECT_EQ(value, c.value) << '"' << c.text << "\" base " << c.base;
        EXPECT_EQ(stop - c.text, c.stop) << '"' << c.text << "\" base " << c.base;
    }
}

TEST(SetProgramName, BaseNameLowerCasedUpToDot) {
    const char *const cases[][2] = {
        {"C:\\TOOLS\\ZCPPC.EXE", "zcppc"},
        {"/usr/local/bin/zcppc", "zcppc"},
        {"build/zcppc.exe", "zcppc"},
        {"a/b\\Cx.y.z", "cx"},
        {"a\\b/c", "c"},
        {"zcppc", "zcppc"},
        {"dir/", ""},
        {"averyveryverylongname", "averyveryve"},
    };
    char saved[sizeof program_name];
    std::memcpy(saved, program_name, sizeof saved);
    for (const auto &c : cases) {
        set_program_name(c[0]);
        EXPECT_STREQ(program_name, c[1]) << c[0];
    }
    std::memcpy(program_name, saved, sizeof saved);
}

TEST(PathSeparators, BothSlashesCount) {
    EXPECT_TRUE(is_path_separator('/'));
    EXPECT_TRUE(is_path_separator('\\'));
    EXPECT_FALSE(is_path_separator(':'));
    const char *text = "a/b\\c/d";
    EXPECT_EQ(last_path_separator(text), text + 5);
    const char *mixed = "a\\b/c\\d";
    EXPECT_EQ(last_path_separator(mixed), mixed + 5);
    EXPECT_EQ(last_path_separator("plain"), nullptr);
    EXPECT_EQ(last_path_separator(""), nullptr);
}

TEST(PrintBanner, BlankBeforeTitleOnlyWhenMissing) {
    testing::internal::CaptureStderr();
    print_banner("PPC C Parser (LIMITED)");
    print_banner(" Title");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ZEPHON Software PPC C Parser (LIMITED) V4.8.12.1"
              "ZEPHON Software Title V4.8.12.1");
}

TEST(CheckedAlloc, StoresLinkAndZeroes) {
    int anchor;
    void **block = static_cast<void **>(checked_alloc(64, &anchor));
    EXPECT_EQ(block[0], &anchor);
    for (int i = 1; i < 8; i++)
        EXPECT_EQ(block[i], nullptr);
    std::free(block);
    void **small = static_cast<void **>(checked_alloc(0, &anchor));
    EXPECT_EQ(small[0], &anchor);   // room for the link even for size 0
    struct Node { Node *next; } *second = static_cast<Node *>(checked_alloc(sizeof(Node), nullptr));
    Node *head = static_cast<Node *>(checked_alloc(sizeof(Node), second));
    head = free_and_return(head, head->next);
    EXPECT_EQ(head, second);
    std::free(second);
    std::free(small);
}

// ---------------------------------------------------------------------------
// Files and directories.

class TempDir : public testing::Test {
protected:
    std::string dir;
    void SetUp() override {
        char pattern[] = "/tmp/zcppc-options.XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override {
        std::string command = "rm -rf '" + dir + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
    std::string write_file(const std::string &name, const std::string &content) {
        std::string path = dir + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    std::string make_dir(const std::string &name) {
        std::string path = dir + "/" + name;
        EXPECT_EQ(mkdir(path.c_str(), 0755), 0);
        return path;
    }
};

std::string expand(std::vector<std::string> operands) {
    int argc;
    char **argv = make_argv(operands, &argc);
    expand_wildcards(&argc, &argv);
    std::string text;
    for (int i = 0; i < argc; i++)
        text += std::string(i ? " " : "") + argv[i];
    EXPECT_EQ(argv[argc], nullptr);
    return text;
}

using ExpandWildcards = TempDir;

TEST_F(ExpandWildcards, FoundNamesLowerCasedPrefixKept) {
    make_dir("SRC");
    write_file("SRC/Main.c", "");
    write_file("SRC/util.c", "");
    write_file("SRC/Read.h", "");
    write_file("SRC/x.c", "");
    std::string prefix = dir + "/SRC";
    EXPECT_EQ(expand({prefix + "/*.c"}),
              prefix + "/main.c " + prefix + "/util.c " + prefix + "/x.c");
    EXPECT_EQ(expand({prefix + "\\?.c"}), prefix + "\\x.c");
    EXPECT_EQ(expand({"first", prefix + "/*.h", "last"}),
              "first " + prefix + "/read.h last");
    EXPECT_EQ(expand({"a", prefix + "/*.none", "b"}), "a b");
    EXPECT_EQ(expand({"plain.c", "other.c"}), "plain.c other.c");
    EXPECT_EQ(expand({prefix + "/*.none"}), "");
}

TEST_F(ExpandWildcards, VectorGrowsPastItsCapacity) {
    std::string expected;
    char name[16];
    for (int i = 0; i < 600; i++) {
        std::snprintf(name, sizeof name, "F%03d.c", i);
        write_file(name, "");
        std::snprintf(name, sizeof name, "f%03d.c", i);
        expected += (i ? " " : "") + dir + "/" + name;
    }
    EXPECT_EQ(expand({dir + "/*.c"}), expected);
}

std::string render_path_list(const PathList *list, int32_t capacity) {
    std::string text;
    for (int32_t i = capacity - 1; i >= list->count; i--)
        text += std::string(i == capacity - 1 ? "" : "|") + list->slot[i];
    return text;
}

TEST(AppendPathList, SplitsAtSemicolons) {
    const char *const cases[][2] = {
        {"a;b\\;;c\\\\", "a|b||c\\"},
        {"one", "one"},
        {"a;", "a"},
        {";", ""},
        {";x", "|x"},
        {"d/", "d/"},
    };
    for (const auto &c : cases) {
        setenv("ZCPPC_TEST_PATH", c[0], 1);
        const char *slots[8];
        PathList list = {8, 8, slots};
        append_path_list(&list, "ZCPPC_TEST_PATH");
        EXPECT_EQ(render_path_list(&list, 8), c[1]) << c[0];
        EXPECT_NE(list.count, 8) << c[0];
    }
    // Entries go behind those already on the list.
    setenv("ZCPPC_TEST_PATH", "env", 1);
    const char *slots[4];
    PathList list = {4, 4, slots};
    slots[--list.count] = "flag";
    append_path_list(&list, "ZCPPC_TEST_PATH");
    EXPECT_EQ(render_path_list(&list, 4), "flag|env");
    // Missing or empty: nothing.
    setenv("ZCPPC_TEST_PATH", "", 1);
    append_path_list(&list, "ZCPPC_TEST_PATH");
    unsetenv("ZCPPC_TEST_PATH");
    append_path_list(&list, "ZCPPC_TEST_PATH");
    EXPECT_EQ(list.count, 2);
}

using ExpandDirList = TempDir;

TEST_F(ExpandDirList, KeepsDirectoriesAndSplicesFiles) {
    std::string d1 = make_dir("d1");
    std::string d2 = make_dir("d2");
    std::string list_file = write_file("list.txt", "x y\n# comment\n\"q r\" 'z'\n");
    write_file("empty.txt", "\n");
    std::string back = dir + "\\d2\\";   // backslash separators, one trailing
    const char *slots[6];
    PathList list = {6, 6, slots};
    std::string names[] = {d1 + "/", dir + "/missing", list_file, dir + "/empty.txt", back, "/dev/null"};
    for (std::string &name : names)
        slots[--list.count] = name.c_str();
    int32_t capacity = 3;
    testing::internal::CaptureStdout();
    PathList *result = expand_dir_list(&list, &capacity);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(capacity, 6);   // six entries grew the list of three once
    EXPECT_EQ(result->capacity, 6);
    EXPECT_EQ(render_path_list(result, capacity), d1 + "|x|y|q r|z|" + dir + "\\d2");
    (void)d2;
}

TEST_F(ExpandDirList, BadTokenFileIsReportedOnStandardOutput) {
    std::string bad = write_file("bad.txt", "ok \"open\n");
    std::string good = make_dir("inc");
    const char *slots[2];
    PathList list = {2, 2, slots};
    slots[--list.count] = bad.c_str();
    slots[--list.count] = good.c_str();
    int32_t capacity = 4;
    testing::internal::CaptureStdout();
    PathList *result = expand_dir_list(&list, &capacity);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "unmatched \" in: ok \"open\n");
    EXPECT_EQ(render_path_list(result, capacity), good);
}

TEST(GrowDirList, DoublesAndKeepsOrder) {
    int32_t capacity = 2;
    PathList *list = static_cast<PathList *>(checked_alloc(sizeof(PathList) + 2 * sizeof(char *), nullptr));
    list->slot = reinterpret_cast<const char **>(list + 1);
    list->capacity = 2;
    list->count = 0;
    list->slot[1] = "first";
    list->slot[0] = "second";
    list = grow_dir_list(list, &capacity);
    EXPECT_EQ(capacity, 4);
    EXPECT_EQ(list->count, 2);
    list->slot[--list->count] = "third";
    EXPECT_EQ(render_path_list(list, capacity), "first|second|third");
}

using ReadTokenFile = TempDir;

TEST_F(ReadTokenFile, SplitsLinesIntoTokens) {
    const std::string long_line(10238, 'a');
    const std::string too_long(10239, 'a');
    const struct Case {
        std::string content;
        std::string expected;   // tokens joined by '|', or the message (NAME is the path)
    } cases[] = {
        {"a b\tc\n", "a|b|c"},
        {"# comment\n  x#y z\n", "x#y|z"},
        {"a #b c\n", "a"},
        {"\"a b\" 'c d'\n", "a b|c d"},
        {"\"ab\"cd\n", "ab|cd"},
        {"\"\"\n", ""},
        {"a\r\nb\r\n", "a|b"},
        {"a b", "a|b"},
        {std::string("a\0b c\nd\n", 8), "a|d"},
        {"\n\n", "no command found in NAME"},
        {"", "no command found in NAME"},
        {"#x\n  # y\n", "no command found in NAME"},
        {"x \"abc\n", "unmatched \" in: x \"abc"},
        {"a\n'\n", "unmatched ' in: '"},
        {long_line + "\n", long_line},
        {long_line + "\r\n", long_line},
        {too_long + "\n", "line 1 too long in file NAME"},
        {"a\n" + too_long, "line 2 too long in file NAME"},
    };
    int index = 0;
    for (const Case &c : cases) {
        std::string name = write_file("tokens" + std::to_string(index++), c.content);
        int count = -1;
        char **vector = nullptr;
        const char *message = read_token_file(name.c_str(), &count, &vector);
        std::string result;
        if (message != nullptr) {
            result = message;
        } else {
            for (int i = 0; i < count; i++)
                result += std::string(i ? "|" : "") + vector[i];
            EXPECT_EQ(vector[count], nullptr);
        }
        std::string expected = c.expected;
        size_t at = expected.find("NAME");
        if (at != std::string::npos)
            expected.replace(at, 4, name);
        EXPECT_EQ(result, expected) << "file " << index - 1;
    }
    int count;
    char **vector;
    std::string missing = dir + "/missing";
    EXPECT_EQ(std::string(read_token_file(missing.c_str(), &count, &vector)),
              "can't open file " + missing);
}

}  // namespace
