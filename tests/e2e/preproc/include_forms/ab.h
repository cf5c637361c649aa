in_ab __FILE__ __LINE__
