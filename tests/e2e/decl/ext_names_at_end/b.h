char b0[  sizeof in_header];
