two
