#pragma section [x y]
#pragma section (x
#pragma section {x} z
#pragma section {1}
