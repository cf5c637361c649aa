int y;
