// Storage of the option variables and of the driver's run state.
#include "driver/options.h"

int32_t opt_ad, opt_a, opt_c99, opt_cc, opt_ck, opt_cp, opt_cr, opt_csb;
int32_t opt_e, opt_fr, opt_f, opt_ge, opt_l, opt_md, opt_m, opt_nc;
int32_t opt_ne, opt_np, opt_ns, opt_p, opt_rb, opt_sa, opt_s, opt_u;
int32_t opt_xd, opt_xp, opt_xu, opt_xx, opt_x;
const char *error_name;
const char *output_name;

static const char *define_slots[FLAG_LIST_SLOTS], *header_slots[FLAG_LIST_SLOTS], *include_slots[FLAG_LIST_SLOTS];
PathList define_list = {FLAG_LIST_SLOTS, FLAG_LIST_SLOTS, define_slots};
PathList header_list = {FLAG_LIST_SLOTS, FLAG_LIST_SLOTS, header_slots};
PathList include_list = {FLAG_LIST_SLOTS, FLAG_LIST_SLOTS, include_slots};

FILE *output_stream;
FILE *error_stream;
const char *source_name;
PathList *include_search;
int32_t include_capacity;
