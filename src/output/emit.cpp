// The raw fields of the intermediate file.  The file is little-endian
// whatever the host, so multi-byte fields are written a byte at a time.
// The bytes gather in a buffer of our own and go to the stream in large
// blocks: a library call per byte cost a tenth of the whole pass.
#include "output/records.h"

#include <cstring>

#include "driver/options.h"

namespace {

constexpr size_t OUTPUT_BUFFER_SIZE = 1 << 16;
unsigned char output_buffer[OUTPUT_BUFFER_SIZE];
size_t output_used;

} // namespace

void flush_output() {
    if (output_used != 0 && output_stream != nullptr)
        std::fwrite(output_buffer, 1, output_used, output_stream);
    output_used = 0;
}

void put_byte(uint32_t value) {
    if (output_used == OUTPUT_BUFFER_SIZE)
        flush_output();
    output_buffer[output_used++] = static_cast<unsigned char>(value);
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
    if (length > OUTPUT_BUFFER_SIZE - output_used) {
        flush_output();
        if (length >= OUTPUT_BUFFER_SIZE) {
            std::fwrite(bytes, 1, length, output_stream);
            return;
        }
    }
    if (length != 0)
        std::memcpy(output_buffer + output_used, bytes, length);
    output_used += length;
}
