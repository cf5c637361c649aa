/* Each line that reaches the output stands for a fold that came out right. */
#if 7 / 2 == 3 && -7 / 2 == -3 && -7 % 2 == -1
signed_division
#endif
#if -1 / 2u == 0x7fffffff && -1u % 10 == 5
unsigned_division
#endif
#if (-2147483647 - 1) / -1 == (-2147483647 - 1) && (-2147483647 - 1) % -1 == 0
lowest_by_minus_one_wraps
#endif
#if 0x7fffffff + 1 < 0 && 65536 * 65536 == 0
wraps_in_32_bits
#endif
#if (1 << 33) == 2 && (-16 >> 1) == -8 && (0xfffffff0 >> 4) == 0x0fffffff
shifts
#endif
#if -1 < 1u && 1u > -1 && -1 != 0xffffffff
mathematical_comparison
#endif
#if 1 ? 2 : 1 / 0
dead_arm_is_not_reported
#endif
#if 0 && 1 % 0 || 1
dead_operand_is_not_reported
#endif
#if (3 + 4) * 2 - 14 == 0 && ~~5 == 5 && (10 - (3 - 2)) == 9
gathering
#endif
