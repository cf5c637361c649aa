in_j __FILE__ __LINE__
