int cwd;
