#pragma attribute ;
#pragma attribute
