// The option engine: flag matching on the real descriptor table, the options
// they imply, and number conversion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/options.h"

// The engine keeps what it allocates to the end of the run; a sanitizer
// build is not to count that.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

namespace {

const struct { const char *name; int32_t *variable; } NUMBER_FLAGS[] = {
    {"ad", &opt_ad}, {"a", &opt_a},   {"c99", &opt_c99}, {"cc", &opt_cc}, {"ck", &opt_ck},
    {"cp", &opt_cp}, {"cr", &opt_cr}, {"csb", &opt_csb}, {"e", &opt_e},   {"fr", &opt_fr},
    {"f", &opt_f},   {"ge", &opt_ge}, {"l", &opt_l},     {"md", &opt_md}, {"m", &opt_m},
    {"nc", &opt_nc}, {"ne", &opt_ne}, {"np", &opt_np},   {"ns", &opt_ns}, {"p", &opt_p},
    {"rb", &opt_rb}, {"sa", &opt_sa}, {"s", &opt_s},     {"u", &opt_u},   {"xd", &opt_xd},
    {"xp", &opt_xp}, {"xu", &opt_xu}, {"xx", &opt_xx},   {"x", &opt_x},
};

// A list in command-line order: its first entry is in the last slot.
std::string render_list(const char *name, const PathList &list) {
    std::string text = std::string(" ") + name + "=[";
    for (int32_t i = list.capacity - 1; i >= list.count; i--)
        text += list.slot[i] + std::string(i > list.count ? "," : "");
    return list.count == list.capacity ? "" : text + "]";
}

// Runs `zcppc ARGS...` through the real flag table, then with `derive` the
// implied options.  Gives every variable that is not zero, the lists, and
// the operands behind a bar.
std::string parse(std::vector<std::string> args, bool derive) {
    for (const auto &flag : NUMBER_FLAGS)
        *flag.variable = 0;
    error_name = output_name = nullptr;
    define_list.count = header_list.count = include_list.count = FLAG_LIST_SLOTS;
    args.insert(args.begin(), "zcppc");
    std::vector<char *> vector;
    for (std::string &arg : args)
        vector.push_back(arg.data());
    vector.push_back(nullptr);
    int argc = int(args.size());
    char **argv = vector.data();
    int32_t warning_level = 0;
    parse_command_line(&argc, &argv, &warning_level);
    if (derive)
        derive_implied_options(warning_level);
    std::string text;
    for (const auto &flag : NUMBER_FLAGS)
        if (*flag.variable != 0)
            text += std::string(" ") + flag.name + "=" + std::to_string(*flag.variable);
    if (warning_level != 0 && !derive)
        text += " w=" + std::to_string(warning_level);
    if (error_name)
        text += std::string(" +e=\"") + error_name + "\"";
    if (output_name)
        text += std::string(" o=\"") + output_name + "\"";
    text += render_list("d", define_list) + render_list("h", header_list) + render_list("i", include_list) + " |";
    for (int i = 0; i < argc; i++)
        text += std::string(" ") + argv[i];
    return text.substr(1);
}

TEST(ParseFlags, CommandLinesGiveVariables) {
    const struct { std::vector<std::string> args; const char *expected; bool derive = false; } cases[] = {
        {{"-e", "a.c"}, "e=1 | a.c"},                {{"-ux", "a.c"}, "u=1 x=1 | a.c"},
        {{"-xdu"}, "u=1 xd=1 |"},                    {{"-xpxuxx"}, "xp=1 xu=1 xx=1 |"},
        {{"-ad", "-a3"}, "ad=1 a=3 |"},              {{"-a", "3", "f.c"}, "a=3 | f.c"},
        {{"-c99", "-cc", "-ck", "-cp", "-csb", "-cr", "-ge"}, "c99=1 cc=1 ck=1 cp=1 cr=1 csb=1 ge=1 |"},
        {{"-l", "-nc", "-ne", "-np", "-ns", "-p", "-rb"}, "l=1 nc=1 ne=1 np=1 ns=1 p=1 rb=1 |"},
        {{"-frf", "-sa", "-s"}, "fr=1 f=1 sa=1 s=1 |"}, {{"-mdm0x30"}, "md=1 m=48 |"},
        {{"-w010"}, "w=8 |"},                        {{"-w", "-5", "a.c"}, "w=-5 | a.c"},
        {{"-w4294967297"}, "w=1 |"},                 {{"-w3", "-w"}, "|"},
        {{"-e", "-o"}, "e=1 o=\"\" |"},              {{"-o", "out.o", "a.c"}, "o=\"out.o\" | a.c"},
        {{"-eoout", "a.c"}, "e=1 o=\"out\" | a.c"},  {{"+e", "err.txt", "a.c"}, "+e=\"err.txt\" | a.c"},
        {{"-e+eerr"}, "e=1 +e=\"err\" |"},           {{"-dA=1", "-d", "B", "-dC"}, "d=[A=1,B,C] |"},
        {{"-i", "inc", "-h", "h1.h", "-iother", "a.c"}, "h=[h1.h] i=[inc,other] | a.c"},
        {{"-e", "-h"}, "e=1 h=[] |"},                {{"-e", "--", "-x"}, "e=1 | -x"},
        {{"-e", "-", "-x"}, "e=1 | - -x"},           {{"a.c", "-x", "+eerr"}, "| a.c -x +eerr"},
        // The options that others imply; -ck makes every warning an error.
        {{"-sa"}, "cp=1 nc=1 ne=1 sa=1 |", true},   {{"-nc"}, "cp=1 nc=1 |", true},
        {{"-ck", "-w2"}, "ck=-1 p=1 |", true},       {{"-w2"}, "ck=2 |", true},
        {{"-w8"}, "|", true},                        {{"-w-1"}, "ck=7 |", true},
        {{"-xx"}, "l=1 xx=1 x=1 |", true},           {{"-xd"}, "l=1 xd=1 x=1 |", true},
        {{"-xp", "-xu"}, "xp=1 xu=1 |", true},
    };
    for (const auto &c : cases)
        EXPECT_EQ(parse(c.args, c.derive), c.expected) << "zcppc " << testing::PrintToString(c.args);
}

// Base 1 takes the base from the prefix; `stop` is the offset of the first
// character not used.
TEST(ParseLong, ConvertsByBase) {
    const struct { const char *text; int base; long value; int stop; } cases[] = {
        {"  -42x", 10, -42, 5}, {"\t\n 5", 10, 5, 4}, {"+7", 1, 7, 2},      {"0x1F", 1, 31, 4},
        {"0X1f", 16, 31, 4},    {"1F", 16, 31, 2},    {"017", 1, 15, 3},    {"08", 1, 0, 1},
        {"", 1, 0, 0},          {"0x", 1, 0, 2},      {"0x10", 10, 0, 1},   {"9", 8, 0, 0},
        {"Zz", 36, 35 * 36 + 35, 2}, {"4294967295", 10, -1, 10}, {"-2147483648", 1, -2147483647L - 1, 11},
        {"99999999999999999999", 10, 1661992959, 20},
    };
    for (const auto &c : cases) {
        long value = 12345;
        const char *stop = parse_long(c.text, &value, c.base);
        EXPECT_EQ(value, c.value) << '"' << c.text << "\" base " << c.base;
        EXPECT_EQ(stop - c.text, c.stop) << '"' << c.text << "\" base " << c.base;
    }
}

}  // namespace
