one
