in_q __FILE__ __LINE__
