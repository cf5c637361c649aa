int m;
