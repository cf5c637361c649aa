// The raw fields of the intermediate file.  The file is little-endian
// whatever the host, so multi-byte fields are written a byte at a time.
#include "output/records.h"

#include "driver/options.h"

void put_byte(uint32_t value) {
    std::putc(int(value & 0xFF), output_stream);
}

void put_u16(uint32_t value) {
    put_byte(value);
    put_byte(value >> 8);
}

void put_u32(uint32_t value) {
    put_u16(value);
    put_u16(value >> 16);
}

void put_bytes(const void *bytes, size_t length) {
    if (length != 0) std::fwrite(bytes, 1, length, output_stream);
}
