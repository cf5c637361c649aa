x */ int y;
