#error in the header
