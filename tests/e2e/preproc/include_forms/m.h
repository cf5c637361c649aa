in_m __FILE__ __LINE__
