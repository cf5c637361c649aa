// zscramble: writes the scrambled form of a source text, for tests of
// scrambled source input.
//
//   zscramble KEY [FILLER] <plain.c >scrambled.c
//
// KEY is the 16-bit starting key (decimal, 0x hex or 0 octal).  FILLER gives
// the six bytes behind the key, which readers ignore; zeros by default.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3) {
        std::fputs("usage: zscramble KEY [FILLER] <plain >scrambled\n", stderr);
        return 1;
    }
    auto key = static_cast<uint16_t>(std::strtoul(argv[1], nullptr, 0));
    unsigned char head[9] = {254, static_cast<unsigned char>(key >> 8),
                             static_cast<unsigned char>(key & 0xFF)};
    if (argc == 3) std::memcpy(head + 3, argv[2], std::min<size_t>(6, std::strlen(argv[2])));
    std::fwrite(head, 1, sizeof head, stdout);
    // Each byte: rotate the key left by one bit, combine the plain byte with
    // both halves of the key, and make the scrambled byte the key's low half.
    for (int plain; (plain = std::getchar()) != EOF;) {
        key = static_cast<uint16_t>(key << 1 | key >> 15);
        auto scrambled = static_cast<unsigned char>(plain ^ (key & 0xFF) ^ (key >> 8));
        key = static_cast<uint16_t>((key & 0xFF00) | scrambled);
        std::putchar(scrambled);
    }
    return 0;
}
