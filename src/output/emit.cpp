// The raw fields of the intermediate file.  The file is little-endian
// whatever the host, so multi-byte fields are stored a byte at a time.
// The bytes gather in a buffer of our own and go to the stream in large
// blocks: a library call per byte cost a tenth of the whole pass.
#include "output/records.h"

#include <cstring>

#include "driver/options.h"

unsigned char output_buffer[OUTPUT_BUFFER_SIZE];
size_t output_used;

void flush_output() {
    if (output_used != 0 && output_stream != nullptr)
        std::fwrite(output_buffer, 1, output_used, output_stream);
    output_used = 0;
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
