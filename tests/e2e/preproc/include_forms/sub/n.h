in_n __FILE__ __LINE__
