#pragma space [ x
#pragma space extern register
#pragma space 5
#pragma space auto @mine @mine
