// Captures what is written to error_stream while the object lives; take()
// returns the text written since the last call.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "driver/options.h"

class Messages {
public:
    Messages() : saved_(error_stream), file_(std::tmpfile()) { error_stream = file_; }
    ~Messages() {
        error_stream = saved_;
        std::fclose(file_);
    }
    std::string take() {
        std::fflush(file_);
        std::string text;
        std::rewind(file_);
        int c;
        while ((c = std::fgetc(file_)) != EOF)
            text += char(c);
        std::rewind(file_);
        if (ftruncate(fileno(file_), 0) != 0)
            ADD_FAILURE() << "cannot reset the message file";
        return text;
    }

private:
    FILE *saved_;
    FILE *file_;
};
