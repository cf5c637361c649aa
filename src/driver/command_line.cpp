// The flags of zcppc and the options they imply.
#include "driver/options.h"

namespace {

const char TITLE[] = "PPC C Parser (LIMITED)";
const char OPERAND[] = "file";

}  // namespace

// The order matters: the first descriptor that fits wins, so a flag that is
// a prefix of another, or that takes a value behind the same letter, stands
// behind it ("ad" before "a#", "md" before "m#", "sa" before "s", ...).
void parse_command_line(int *argc, char ***argv, int32_t *warning_level) {
    parse_flags(argc, argv, TITLE, OPERAND,
                "ad   expand defines in assembly", static_cast<void *>(&opt_ad),
                "a#   register allocation mode", static_cast<void *>(&opt_a),
                "c99  c99 type behaviour", static_cast<void *>(&opt_c99),
                "cc   do not cast const exp", static_cast<void *>(&opt_cc),
                "ck   extra type checkings", static_cast<void *>(&opt_ck),
                "cp   no constant propagation", static_cast<void *>(&opt_cp),
                "<cr   comment removal for -e", static_cast<void *>(&opt_cr),
                "csb  check signed bitfields", static_cast<void *>(&opt_csb),
                "d*>  define symbol=value", static_cast<void *>(&define_list),
                "e    run preprocessor only", static_cast<void *>(&opt_e),
                "+e*   error file name", static_cast<void *>(&error_name),
                "fr   enable float registers", static_cast<void *>(&opt_fr),
                "f    single precision floats", static_cast<void *>(&opt_f),
                "<ge   gnu style error messages", static_cast<void *>(&opt_ge),
                "h*>  include header", static_cast<void *>(&header_list),
                "i*>  include path", static_cast<void *>(&include_list),
                "l    output line information", static_cast<void *>(&opt_l),
                "md   make dependencies", static_cast<void *>(&opt_md),
                "m#   model configuration", static_cast<void *>(&opt_m),
                "nc   no const replacement", static_cast<void *>(&opt_nc),
                "ne   no enum optimization", static_cast<void *>(&opt_ne),
                "np   allow pointer narrowing", static_cast<void *>(&opt_np),
                "ns   do not share locals", static_cast<void *>(&opt_ns),
                "o*   output file name", static_cast<void *>(&output_name),
                "p    need prototypes", static_cast<void *>(&opt_p),
                "rb   reverse bitfield order", static_cast<void *>(&opt_rb),
                "sa   strict ansi conformance", static_cast<void *>(&opt_sa),
                "s    do not reorder locals", static_cast<void *>(&opt_s),
                "u    plain char is unsigned", static_cast<void *>(&opt_u),
                "w#   enable warnings", static_cast<void *>(warning_level),
                "xd   debug info for data", static_cast<void *>(&opt_xd),
                "xp   no path in debug info", static_cast<void *>(&opt_xp),
                "xu   no debug info if unused", static_cast<void *>(&opt_xu),
                "xx   extended debug info", static_cast<void *>(&opt_xx),
                "x    output debug info", static_cast<void *>(&opt_x),
                static_cast<const char *>(nullptr));
}

void derive_implied_options(int32_t warning_level) {
    if (opt_sa) {
        opt_ne = 1;
        opt_nc = 1;
    }
    // opt_ck doubles as the warning mask of report: -1 lets every warning
    // count as an error, 0 to 7 is the highest level shown.
    if (opt_ck) {
        opt_p = 1;
        opt_ck = -1;
    } else if (warning_level != 0) {
        opt_ck = warning_level & 7;
    }
    if (opt_xx || opt_xd)
        opt_x = 1;
    if (opt_x)
        opt_l = 1;
    if (opt_nc)
        opt_cp = 1;
}
