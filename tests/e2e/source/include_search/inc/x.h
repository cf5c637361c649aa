int inc;
