char a;
int b;
/* Uninitialised data change section: a and b are written first. */
#pragma section [bss]
char c;
/* Constant data and code: no object is written. */
#pragma section const {rodata}
#pragma section (text)
char d;
/* Modifiers and defaults go into the word; the name may be missing. */
#pragma section @far [far_bss]
#pragma section const @near {}
#pragma space extern () @far
#pragma section @mine ()
/* Without a bracket nothing happens. */
#pragma section
#pragma section const
int f(void) {
#pragma section [inside]
}
