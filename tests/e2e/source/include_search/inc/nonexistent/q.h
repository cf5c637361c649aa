int rooted;
