// The expression subsystem through its text: the parser with the typing,
// folding and rewriting of every node as it is made.  Cases are lines of
// the engine in expr_engine.h; a few properties are checked over many
// generated expressions.
#include <functional>
#include <thread>

#include "expr_engine.h"

TEST(Expressions, Parsing) {
    engine::check(R"cases(
a - b - i => (- (- a:i b:i):i i:i):i
a + b * i => (+ (* b:i i:i):i a:i):i
a << b + i => (<< a:i (+ b:i i:i):i):i
a < b == i => (== (< a:i b:i):i i:i):i
a & b == i => (& (== b:i i:i):i a:i):i
a | b ^ i & j => (| (^ (& i:i j:i):i b:i):i a:i):i
a = b = i => (= a:i (= b:i i:i):i):i
a ? b : i ? j : x => (?: (!= a:i 0:i):i b:i (?: (!= i:i 0:i):i j:i x:i):i):i
a || b && i => (|| (!= a:i 0:i):i (&& (!= b:i 0:i):i (!= i:i 0:i):i):i):i
a && b && i => (&& (!= a:i 0:i):i (&& (!= b:i 0:i):i (!= i:i 0:i):i):i):i
a ? b , i : j => (?: (!= a:i 0:i):i i:i{N} j:i):i
a ? b : i = j => (= (?: (!= a:i 0:i):i b:i i:i):i j:i):i # invalid lvalue
// Literals take the types of their spelling
2147483648 => -2147483648:ul
-2147483648 => -2147483648:l
32768 => 32768:l
0x80000000u => -2147483648:ui
1.5 => 1.5r:d
"ab" => "ab":c[3]
sizeof (c) => 1:ui
sizeof @ c => 4:ui
sizeof @ arr => 4:ui
sizeof arr => 40:ui
sizeof st.bit => 4:ui # invalid sizeof(type)
// Commas drop operands without effects
(1, x) => x:i{N}
(y, x) => x:i{N}
(y = 1, x) => (, (= y:i 1:i):i x:i):i
x, => x:i +unread # missing expression
zz + 1 => (+ zz:i 1:i):i
// Postfix increments become compound where nobody reads them
x++ => (post++ x:i 1:i):i
y = (x++, 2) => (= y:i (, (+= x:i 1:i):i 2:i):i):i
++x => (+= x:i 1:i):i
[discard] x++ => (+= x:i 1:i):i
[discard] x--, y++ => (, (-= x:i 1:i):i (+= y:i 1:i):i):i
arr[3] => arr+12:i
arr[i] => (deref (+ &arr:i* (<< i:i 2:i):i):i*):i
m[i][2] => (deref (+ &m+8:i[3]* (* i:i 12:i):i):i*):i
st.m4 => st+4:i
st.m0 => st:i
sp->m4 => (deref (+ sp:c* 4:i):i*):i
(x = 1, st).m4 => (deref (+ (, (= x:i 1:i):i &st:struct*):c*{N} 4:i):i*):i{N}
(i ? st : st2).m4 = 1 => (= (deref (+ (?: (!= i:i 0:i):i &st:struct* &st2:struct*):c*{N} 4:i):i*):i{N} 1:i):i # invalid lvalue
// Errors of operands and punctuation
- => 0:i # missing expression
(1 => 1:i # missing )
arr[] => arr:i # missing array subscript
st. => st:i # missing member name
x.m0 => x:i # bad struct/union operand
st.zz => st:i # zz not a member
+p => p:i*{N} # invalid arithmetic operand
+c => (cast c:c):i{N}
a ? : b => (?: (!= a:i 0:i):i 0:i b:i):i # missing ? test expression
x = 1 ? 2 => (= x:i 1:i):i # missing :; missing expression
sizeof => 4:ui # missing expression
++ => 0:i # missing expression
+ => 0:i{N} # missing expression
a && => a:i # missing expression
// Calls check their prototypes
fv(1) => (call &fv:i()* 1:i):i{O} # too many arguments
fil(1, 2) => (call &fil:i()* (arg 1:i 2:l):i):i
fil(1) => (call &fil:i()* 1:i):i # missing argument
fil(1, ) => (call &fil:i()* (arg 1:i 0:l):i):i # missing argument
fdots(1, 2.0) => (call &fdots:i()* (arg 1:i 2r:d):i):i{O}
fl(x) => (call &fl:l()* (cast x:i):l):l
fpi(0) => (call &fpi:i()* 0:i*{R}):i
fpi(x) => (call &fpi:i()* x:i):i # incompatible argument type
x(1) => (call x:i 1:i):i # invalid function type
pfv() => (call pfv:i()*):i
[p] undeclared(3) => (call &undeclared:i()* 3:i):i # missing prototype
[p] fold(1) => (call &fold:i()* 1:i):i # missing prototype
[counts] fv() => (call &fv:i()*):i calls=1 inline=0
[counts] inl() => (call &inl:i()*):i calls=0 inline=0
[counts] inlb() => (call &inlb:i()*):i calls=0 inline=1
inlr() => (call &inlr:i()*):i # invalid recursive inline function
[counts] ns(1, 2) => (call &ns:i()* (arg 1:i 2:i):i):i{O} calls=1 inline=0 # variable arguments in nostack mode
x = 1, fv(), y = x => (, (, (= x:i 1:i):i (call &fv:i()*):i):i (= y:i x:i):i):i
// Assignments and their rewrites
[cp] i = i + 1 => (+= i:i 1:i):i
[cp] i = 2 * i => (<<= i:i 1:i):i
[cp] i = j - i => (= i:i (- j:i i:i):i):i
[cp] u /= 8 => (>>= u:ui 3:i):ui
[cp] u %= 8 => (&= u:ui 7:i):ui
[cp] x %= 1 => (= x:i 0:i):i
[cp] x *= 0 => (= x:i 0:i):i
[cp] x *= -1 => (= x:i (neg x:i):i):i
[cp] x /= 0 => (/= x:i 0!div@5:i):i
[cp] x += x => (<<= x:i 1:i):i
[cp] x = x => x:i
[cp] f += 1.5 => (+= f:f 1.5r:d):f # truncating assignment
[cp] f %= 2 => (%= f:f 2:i):f # invalid floating point operation
[cp] i += 1.5 => (+= i:i 1:i):i # truncating assignment
[cp] p = p + 1 => (+= p:i* 4:i):i*
[cp] p += i => (+= p:i* (<< i:i 2:i):i):i* # truncating assignment
[cp] p *= 2 => (*= p:i* 2:i):i* # incompatible pointer operation
[cp] p = 0 => (= p:i* 0:i):i*
[cp] p = x => (= p:i* x:i):i* # truncating assignment; incompatible pointer types
[cp] x = p => (= x:i p:i*):i # incompatible pointer assignment
[cp] pfv = fv => (= pfv:i()* &fv:i()*):i()*
[cp] x = y & x => (&= x:i y:i):i
[cp] *p *= -1 => (= (deref p:i*):i (neg (deref p:i*):i):i):i
[cp] arr = p => (= arr:i[10] p:i*):i[10] # invalid assignment type; incompatible pointer assignment
[cp] st += st => (+= st:struct st:struct):struct # invalid struct/union operation
// Known values replace reads
x = 1, y = x => (, (= x:i 1:i):i (= y:i 1:i):i):i
x = 1, x = y, y = x => (, (, (= x:i 1:i):i (= x:i y:i):i):i (= y:i x:i):i):i
c = 300, y = c => (, (= c:c 44:i):c (= y:i 44:c):i):i
x = 1, st = st, y = x => (, (, (= x:i 1:i):i (= st:struct st:struct):struct):struct (= y:i 1:i):i):i
x = 1, i ? (x = 2) : 0, y = x => (, (, (= x:i 1:i):i (?: (!= i:i 0:i):i (= x:i 2:i):i 0:i):i):i (= y:i x:i):i):i
pfv = fv, pfv() => (, (= pfv:i()* &fv:i()*):i()* (call &fv:i()*):i):i
p = &arr[1], x = *p => (, (= p:i* &arr+4:i*):i* (= x:i (deref p:i*):i):i):i
p = &x, x = 1, y = x => (, (, (= p:i* &x:i*):i* (= x:i 1:i):i):i (= y:i x:i):i):i
st.m4 = 1, y = st.m4 => (, (= st+4:i 1:i):i (= y:i 1:i):i):i
[cp] x = 1, y = x => (, (= x:i 1:i):i (= y:i x:i):i):i
[error] x = 1, y = x => (, (= x:i 1:i):i (= y:i x:i):i):i
x = -7, x /= 2, x += 9, y = x => (, (, (, (= x:i -7:i):i (/= x:i 2:i):i):i (+= x:i 9:i):i):i (= y:i 6:i):i):i
x = -8, x >>= 1, x *= 3, y = x => (, (, (, (= x:i -8:i):i (>>= x:i 1:i):i):i (*= x:i 3:i):i):i (= y:i -12:i):i):i
x = 3, x <<= 33, y = x => (, (, (= x:i 3:i):i (<<= x:i 33:i):i):i (= y:i 6:i):i):i
x = -2147483647 - 1, x /= -1, y = x => (, (, (= x:i -2147483648:i):i (= x:i (neg x:i):i):i):i (= y:i -2147483648:i):i):i
x = 6, x ^= 3, x |= 8, x &= 12, x %= 5, y = x => (, (, (, (, (, (= x:i 6:i):i (^= x:i 3:i):i):i (|= x:i 8:i):i):i (&= x:i 12:i):i):i (%= x:i 5:i):i):i (= y:i 2:i):i):i
// Const objects read their stored values
y = k => (= y:i 5:i):i
y = str[1] => (= y:i 98:c):i
y = str[i] => (= y:i (deref (+ &str:c*c i:i):c*c):c):i
y = "abc"[1] => (= y:i 98:c):i
y = cs.m0 => (= y:i 1:i):i
y = cs.m4 => (= y:i 0:i):i
k = 1 => (= k:i 1:i):i # const assignment
[nc] y = k => (= y:i k:i):i
// Chained assignments of 0 are taken apart
x = c = 0 => (, (= c:c 0:i):c (= x:i 0:i):i):i
d = x = 0 => (, (= x:i 0:i):i (= d:d 0r:d):d):d
x = c = 1 => (= x:i (= c:c 1:i):c):i
x = (fv(), c = 0) => (, (, (call &fv:i()*):i (= c:c 0:i):c):c (= x:i 0:i):i):i
[test] x => (!= x:i 0:i):i
[test] (x, y) => (!= y:i{N} 0:i):i
[test] (x = 1, y) => (, (= x:i 1:i):i (!= y:i 0:i):i):i
[test] ((x & 8) >> 3) == 0 => (== (& x:i 8:i):i 0:i):i
[test] ((x & 8) >> 3) == 1 => (!= (& x:i 8:i):i 0:i):i
[test] ((x & 24) >> 3) == 1 => (== (>> (& x:i 24:i):i 3:i):i 1:i):i
[test] ((x & 12) >> 3) == 0 => (== (>> (& x:i 12:i):i 3:i):i 0:i):i
[test] i ? 1 : 0 => (!= i:i 0:i):i
[test] st => no test
[test] x = 1 => (!= (= x:i 1:i):i 0:i):i # constant assignment in a test
[const] 1 + 2 * 3 => 7
[const] +5 => 5 # invalid constant expression
[const] x => 0 # invalid constant expression
[const] 1 / 0 => 0 # zero divide; invalid constant expression
[const] => none # missing expression
[if] RED == -3 && GREEN == 0 => 1
[if] RED * 2 == -6 && 10 / RED == -3 && -RED == 3 => 1
[if] LOW == -2147483647 - 1 && LOW < 0 => 1
[if sa] RED == 0 => 1
[if] sizeof(x) == 4 && sizeof(c) == 1 => 1
[if sa] sizeof(x) == 4 => 0 # incomplete #if expression
[if] => 0 # missing expression; bad #if expression
[if] 1 2 => 1 # incomplete #if expression
)cases");
}

TEST(Expressions, UnaryOperatorsAndCasts) {
    engine::check(R"cases(
-(-2147483647 - 1) => -2147483648:i
-1.5 => -1.5r:d
-(-c) => c:c{N}
-(a - b) => (- b:i a:i):i
-st => (neg st:struct):struct # invalid operand type
~5 => -6:i
~c => (~ c:c):i
~~c => c:c{N}
~d => (~ d:d):d # invalid operand type
!0 => 1:i
!7 => 0:i
!(a < b) => (>= a:i b:i):i
!(a > b || (i != j && x <= y)) => (&& (<= a:i b:i):i (|| (== i:i j:i):i (> x:i y:i):i):i):i
!(x = 1, a < b) => (, (= x:i 1:i):i (>= a:i b:i):i):i
!(x = 1, 0) => (, (= x:i 1:i):i 1:i):i
!(a && b < a) => (|| (== a:i 0:i):i (>= b:i a:i):i):i
!!a => (!= a:i 0:i):i
!!st => st:struct{N} # invalid operand type
&a => &a:i*
*&a => a:i
&*p => p:i*
*p => (deref p:i*):i
*&g => (deref &g:i*f):i
*(char *)256 => @256:c
*(const char *)256 => (deref 256:c*c{R}):c
*(volatile char *)256 => (deref 256:c*v{R}):c
*(char @far *)256 => (deref 256:c*f{R}):c
*(char @page *)256 => (deref 256:c*{R}):c
*(char @near *)256 => @256:c
*(int (@far *)(void))256 => @256:i()
*sa => sa:s
*fv => fv:i()
*ep => (deref ep:enum*):uc
*vp => (deref vp:v*):v* # invalid indirection operand
*(1, p) => (deref p:i*{N}):i
&r => &r:i* # invalid address operand
&arg => &arg:i*
&st.bit => (addr st+12:bits1@3):i* # invalid address type
&(a + 1) => (addr (+ a:i 1:i):i):i* # invalid address expression
&fs() => (addr (call &fs:struct()*):struct):struct*
&fv() => (addr (call &fv:i()*):i):i* # invalid address expression
&(1, a) => &a:i*{N} # invalid lvalue
&*(pc + 2) => (+ pc:i*c 8:i):i*c
&*(1, p) => p:i*{N}
(*(1, sp)).m4 => (deref (+ sp:c* 4:i):i*):i
&nc => &nc:c*nc
[defaults] &a => &a:i*f
[defaults] sa + 1 => &sa+2:s*n
[defaults] pfv = fv => (= pfv:i()* &fv:i()*t):i()*
[defaults] "ab" + 1 => "ab"+1:c*tc
[sa defaults] "ab" + 1 => "ab"+1:c*f
*pa + 0 => pa:c*nc{N}
[sa] (+arr)[1] => arr+4:i # invalid arithmetic operand; invalid lvalue
(char)300 => 44:c
(char)200 => -56:c
(unsigned short)-1 => 65535:us
(short)0x18000 => -32768:s
(enum E)300 => 44:uc
(int)-3.7 => -3:i
(char)300.0 => 300:c
(unsigned)3e9 => -1294967296:ui
[ck0] (int)1e10 => 1410065408:i
(int)1e10 => 1410065408:i # float value too large for integer cast
(int)4294967296.0 => 0:i # float value too large for integer cast
(unsigned)4294967295.0 => -1:ui
(int)-2147483648.0 => -2147483648:i
(int)-2147483649.0 => 2147483647:i # float value too large for integer cast
(double)-5 => -5r:d
(float)-1u => 4.29497e+09r:f
(double)(unsigned char)-1 => 255r:d
(double)(unsigned short)-1 => 65535r:d
(float)1.5 => 1.5r:f
(char *)5 => 5:c*{R}
(void)5 => (cast 5:i):v
[cc] (char)300 => 300:c
(char)(i + 1) => (+ i:i 1:i):c{R}
(char)(i / 2) => (cast (/ i:i 2:i):i):c
(char)(i >> 1) => (cast (>> i:i 1:i):i):c
(char)*p => (cast (deref p:i*):i):c
(int)i => i:i{R}
(long)(i + 1) => (cast (+ i:i 1:i):i):l
(int)(l + 1) => (+ l:l 1:i):i{R}
(unsigned char)(u & 0x100) => 0:uc
(unsigned char)(u & 0x1FF) => (cast (& u:ui 255:i):ui):uc
(char)(u & 0x100) => (& u:ui 256:i):c{R}
(long)(st.f4 = 1) => (= st+12:bits4@0 1:i):l{R}
(double)p => (cast p:i*):d # invalid cast operand
(int)st => (cast st:struct):i # invalid cast operand
(struct S)i => (cast i:i):struct # invalid cast type
(int[2])i => (cast i:i):i[2] # invalid cast type
(void)fvoid() => (call &fvoid:v()*):v{R}
(long)arr => (cast &arr:i*):l
(char @near *)i => (cast i:i):c*n
(char @near *)np => np:c*n{R}
(char @near *)cp => cp:c*n{R}
(char @far *)np => (cast np:c*n):c*f
(char @near *)tp => (cast tp:c*t):c*n
(char @near *)&t => &t:c*n{R}
(char @far *)&t => (cast &t:c*t):c*f
(char @tiny *)fp => (cast fp:c*f):c*t # invalid narrow pointer cast
(char @near *)(int @far *)0x1234 => (cast 4660:i*f{R}):c*n # invalid narrow pointer cast
(char @far *)farr => &farr:c*f{R}
(char @near *)farr => (cast &farr:i*f):c*n # invalid narrow pointer cast
(char @near *)1.5 => (cast 1.5r:d):c*n # invalid pointer cast operand
(short)fp => (cast fp:c*f):s # invalid narrow pointer cast
(char)np => (cast np:c*n):c # invalid narrow pointer cast
(long)(int @far *)0x1234 => 4660:l{R}
[np] (char @tiny *)fp => (cast fp:c*f):c*t
[np] (char @near *)(int @far *)0x1234 => 4660:c*n{R}
[np] (short)fp => (cast fp:c*f):s
)cases");
}

TEST(Expressions, BinaryOperatorsAndComparisons) {
    engine::check(R"cases(
fvoid() + i => (+ (call &fvoid:v()*):v i:i):v # illegal void operation
i * fvoid() => (* (call &fvoid:v()*):v i:i):v # illegal void operation
st + 1 => (+ st:struct 1:i):struct # incompatible struct/union operation
1 + st => (+ st:struct 1:i):struct
st == st => (== st:struct st:struct):struct # incompatible struct/union operation
// The usual arithmetic conversions
c - s => (- c:c s:s):i
i - l => (- i:i l:l):l
l - i => (- l:l i:i):i
u - l => (- u:ui l:l):ui
ul - u => (- ul:ul u:ui):ui
i - ul => (- i:i ul:ul):ul
i - f => (- i:i f:f):f
f - d => (- f:f d:d):d
st.f5 - i => (- st+12:bits5@8 i:i):ui
[f] f - d => (- f:f d:f):f
l = 2, c >> l => (, (= l:l 2:i):l (>> c:c 2:l):i):i
us >> l => (>> us:us (cast l:l):i):i
x << 32 => 0:i # shift count out of range
1 << 32 => 1:i # shift count out of range
x << d => (<< x:i (cast d:d):i):i # invalid shift count type
x << cp => (<< x:i cp:c*):c* # invalid pointer operation
d << 1 => (<< d:d 1r:d):d # invalid floating point operation
[ck0] x << 40 => 0:i
d % d => 0:d # invalid floating point operation
i & d => (& i:i d:d):d # invalid floating point operation
uc & ~uc => 0:i
~u | u => -1:ui
v & ~v => (& (~ v:i):i v:i):i
x && x => (!= x:i 0:i):i
a < b && b > a => (&& (< a:i b:i):i (> b:i a:i):i):i
st || x => (|| st:struct x:i):struct # incompatible struct/union operation
x || st => (|| (!= x:i 0:i):i st:struct):i # invalid conditional operand
0 && fv() => 0:i
1 && a < b => (< a:i b:i):i
0 || x => (!= x:i 0:i):i
x && 0 => 0:i
fv() && 0 => (&& (!= (call &fv:i()*):i 0:i):i 0:i):i
fv() || 0 => (!= (call &fv:i()*):i 0:i):i
i ? l : i => (?: (!= i:i 0:i):i l:l i:i):i
i ? p : 0 => (?: (!= i:i 0:i):i p:i* 0:i):i*
i ? p : 1 => (?: (!= i:i 0:i):i p:i* 1:i):i* # incompatible operand types
i ? pc : pv => (?: (!= i:i 0:i):i pc:i*c pv:i*v):i*cv
i ? st : i => (?: (!= i:i 0:i):i st:struct i:i):struct # incompatible operand types
st ? i : i => (?: st:struct i:i i:i):struct # incompatible struct/union operation
1 ? c : ul => (cast c:c):ul
1 ? c : l => (cast c:c):i
0 ? fv() : ul => ul:ul{N}
1 ? st.bit : i => st+12:bits1@3{N}
p + 0 => p:i*{N}
1 + p => (+ p:i* 4:i):i*
p + i => (+ p:i* (<< i:i 2:i):i):i*
cp + i => (+ cp:c* i:i):c*
&arr[3] + 2 => &arr+20:i*
arr + (i + 1) => (+ &arr+4:i* (<< i:i 2:i):i):i*
arr - (1 + l) => (- &arr-4:i* (<< l:l 2:i):i):i*
arr - (i + 1) => (- &arr-4:i* (<< i:i 2:i):i):i*
arr + (1 + l) => (+ &arr+4:i* (<< l:l 2:i):i):i*
m + (1 + l) => (+ &m+12:i[3]* (* l:l 12:i):i):i[3]*
arr + (l + 2) * 3 => (+ &arr+24:i* (<< (* l:l 3:i):i 2:i):i):i*
(char *)&sarg + (i + 1) => (+ &sarg:c*{R} (+ i:i 1:i):i):c*
(int)c + ca => (+ &ca:c* c:c):c*
&arr[2] - &arr[0] => 2:i
&farr[2] - &farr[0] => 2:l
p - q => (/ (- p:i* q:i*):i 4:i):i
cp - cq => (- cp:c* cq:c*):i
fq - fq => (/ (- fq:i*f fq:i*f):l 4:l):l +longdiv
p - cp => (/ (- p:i* cp:c*):i 4:i):i # invalid pointer types
1 - p => (- 1:i p:i*):i* # invalid pointer operation
p + q => (+ p:i* q:i*):i* # invalid pointer operand
vp + 1 => (+ vp:v* 1:i):v* # invalid void pointer
// Comparisons
5 > x => (< x:i 5:i):i
5 <= x => (>= x:i 5:i):i
5 > 3 => 1:i
x == x => 1:i
v == v => (== v:i v:i):i
fv() != fv() => (!= (call &fv:i()*):i (call &fv:i()*):i):i
p == 0 => (== p:i* 0:i):i
p == 1 => (== p:i* 1:i):i # incompatible compare types
p == cp => (== p:i* cp:c*):i # incompatible compare types
d > 0.0 => (> d:d 0:i):i
0.0 < d => (> d:d 0:i):i
1.5 < 2 => 1:i
-1 < 1u => 1:i
[sa] -1 < 1u => 0:i
-1 == 0xffffffff => 0:i
[sa] -1 == 0xffffffff => 1:i
1u > -1 => 1:i
[sa] 1u > -1 => 0:i
(a < b) == 0 => (>= a:i b:i):i
(a < b) < 0 => 0:i
(fv() < b) < 0 => (, (< (call &fv:i()*):i b:i):i 0:i):i
(a < b) == 1 => (< a:i b:i):i
(a < b) > 1 => 0:i
st.bit == 1 => (!= st+12:bits1@3 0:i):i
st.bit != 1 => (== st+12:bits1@3 0:i):i
st.bit > 1 => (< st+12:bits1@3 0:i):i
st.bit <= 1 => (>= st+12:bits1@3 0:i):i
i >= 1 => (> i:i 0:i):i
u < 1 => (== u:ui 0:i):i
i <= -1 => (< i:i 0:i):i
u >= 1 => (> u:ui 0:i):i
// The range of the left type
uc < 256 => 1:i # compare out of range
uc < 255 => (< uc:uc 255:i):i
uc > 255 => 0:i # compare out of range
uc == -1 => 0:i # compare out of range
uc <= 0 => (<= uc:uc 0:i):i
c > 127 => 0:i # compare out of range
c < -128 => 0:i # compare out of range
st.f4 > 15 => 0:i # compare out of range
i < 0x80000000u => 1:i # compare out of range
i < 5u => (< i:i 5:ui):i
u < -1 => 0:i # compare out of range
u < 0 => 0:i # compare out of range
fchar() < 1000 => (, (call &fchar:c()*):c 1:i):i # compare out of range
[ck0] uc < 256 => 1:i
[sa] u < -1 => 0:i # compare out of range
// Narrow operands of mixed sign
c < uc => (< (cast c:c):i (cast uc:uc):i):i
us == s => (== (cast us:us):i (cast s:s):i):i
c < s => (< c:c s:s):i
(char)255 == c => (== c:c -1:c):i
i < u => (< i:i u:ui):i
)cases");
}

TEST(Expressions, ArithmeticFolds) {
    engine::check(R"cases(
~a & ~b => (~ (| a:i b:i):i):i
~a | ~b => (~ (& a:i b:i):i):i
-a + -b => (neg (+ a:i b:i):i):i
-a - -b => (- b:i a:i):i
-a / -b => (/ a:i b:i):i
1 - st.bit => (^ st+12:bits1@3 1:i):ui
1 - st.w2 => (- 1:i st+12:bits2@5):ui
a*b + a*i => (* (+ b:i i:i):i a:i):i
a*b + i*a => (* (+ b:i i:i):i a:i):i
b*a - a*i => (* (- b:i i:i):i a:i):i
b*a - i*a => (* (- b:i i:i):i a:i):i
(a & b) | (a & i) => (& (| b:i i:i):i a:i):i
(b & a) ^ (i & a) => (& (^ b:i i:i):i a:i):i
(a | b) & (a | i) => (| (& b:i i:i):i a:i):i
a*b + a*u => (* (+ b:i u:ui):ui a:i):ui
a*u + a*b => (* (+ u:ui b:i):i a:i):i
a*b + a*b => (<< (* a:i b:i):i 1:i):i
v*b + v*i => (+ (* v:i b:i):i (* v:i i:i):i):i
(a << 2) & (b << 2) => (<< (& a:i b:i):i 2:i):i
(a >> i) | (b >> i) => (>> (| a:i b:i):i i:i):i
(a << 1) ^ (b << 2) => (^ (<< a:i 1:i):i (<< b:i 2:i):i):i
1.5 + 2 => 3.5r:d
-1 * 0.5 => -0.5r:d
1.5f - 0.25f => 1.25r:f
1.0 / 0.0 => (/ 1r:d 0!div@6:d):d
d / 0.0 => (/ d:d 0!div@4:d):d
1.5 % 2.0 => 1.5r:d # invalid floating point operation
// Constants move right
3 + x => (+ x:i 3:i):i
3 + x + 4 => (+ x:i 7:i):i{N}
3 - x => (- 3:i x:i):i
x * (y + 1) => (* (+ y:i 1:i):i x:i):i
// The right operand is no constant
0 / x => 0:i
0 % ul => 0:ul
0 / d => 0:i
0 / fv() => (, (call &fv:i()*):i 0:i):i
0 - x => (neg x:i):i
0u - x => (cast (neg x:i):i):ui
0 - (x - c) => (- c:c x:i):i
x / x => 1:i
d / d => 1:i
v - v => 0:i
x | x => x:i{N}
c & c => (cast c:c):i{N}
x + x => (<< x:i 1:i):i
(int)c - c => 0:i
fv() + fv() => (+ (call &fv:i()*):i (call &fv:i()*):i):i
(x << 2) + (x << 2) => (<< x:i 3:i):i{N}
arr[1] - arr[2] => (- arr+4:i arr+8:i):i
st.f4 - st.f4 => 0:ui
st.f4 - st.f5 => (- st+12:bits4@0 st+12:bits5@8):ui
(a + b) - (b + a) => 0:i
(a < b) - (b < a) => (- (< a:i b:i):i (< b:i a:i):i):i
(x = 1) - (x = 1) => (- (= x:i 1:i):i (= x:i 1:i):i):i
*p - *p => 0:i
*pv - *pv => 0:i
(v + 1) - (v + 1) => (- (+ v:i 1:i):i (+ v:i 1:i):i):i
(i ? a : b) - (i ? a : b) => 0:i
(i ? a : b) - (i ? b : b) => (- (?: (!= i:i 0:i):i a:i b:i):i (?: (!= i:i 0:i):i b:i b:i):i):i
~a - ~a => 0:i
// Both constants: 32-bit arithmetic
-7 / 2 => -3:i
-7 % 2 => -1:i
-1 / 2u => 2147483647:ui
(-2147483647 - 1) / -1 => -2147483648:i
(-2147483647 - 1) % -1 => 0:i
-2147483648 / -1 => -2147483648:i
0x7FFFFFFF + 1 => -2147483648:i
-8 >> 1 => -4:i
0xfffffff8 >> 1 => 2147483644:ui
l = 2, 3 << l => (, (= l:l 2:i):l 12:i):i
ul = 2, 3 << ul => (, (= ul:ul 2:i):ul 12:ul):ul
0xFF ^ 0x0F => 240:i
1 << 33 => 2:i # shift count out of range
-16 >> -1 => -1:i # shift count out of range
1 / 0 => (/ 1:i 0!div@4:i):i
x % 0 => (% x:i 0!mod@4:i):i
// A constant right operand
(int)&g + 4 => (cast &g+4:i*f):i
(int)&n + 4 => (+ (cast &n:i*):i 4:i):i
x << 0 => x:i{N}
c + 0 => (cast c:c):i{N}
x * 0 => 0:i
fv() * 0 => (, (call &fv:i()*):i 0:i):i
v & 0 => (, v:i 0:i):i
(5 - x) + 3 => (- 8:i x:i):i
(5 - x) - 5 => (neg x:i):i
x / 1 => x:i{N}
fv() % 1 => (, (call &fv:i()*):i 0:i):i
x * -1 => (neg x:i):i
x / -1 => (neg x:i):i
u / -1 => (/ u:ui -1:i):ui
x ^ -1 => (~ x:i):i
d ^ -1 => (^ d:d -1r:d):d # invalid floating point operation
x | -1 => -1:i
u & -1 => u:ui{N}
x * 8 => (<< x:i 3:i):i
u / 8 => (>> u:ui 3:i):ui
x / 8u => (>> x:i 3:ui):ui
x / 8 => (/ x:i 8:i):i
uc / 256 => 0:i
u % 8 => (& u:ui 7:i):ui
uc % 256u => (cast uc:uc):ui{N}
fv() << 40 => (, (call &fv:i()*):i 0:i):i # shift count out of range
uc >> 8 => 0:i
c >> 8 => (>> c:c 8:i):i
u >> 32 => 0:ui # shift count out of range
uc | 0xFF => 255:i
uc & 0xFF => (cast uc:uc):i{N}
st.f5 & 7 => st+12:bits3@8{N}
st.f5 & 0x1F => (cast st+12:bits5@8):ui{N}
st.f5 & 6 => (& st+12:bits5@8 6:i):ui
st.f5 | 0x1F => 31:ui
st.cb % 4 => st+18:bits2@1{N}
// Constants gather over two levels
(x + 1) + 2 => (+ x:i 3:i):i{N}
(x + 1) - 2 => (- x:i 1:i):i{N}
(x + 1) - 1 => x:i{N}
(x - 3) + 1 => (- x:i 2:i):i{N}
(fv() + 1) - 1 => (call &fv:i()*):i{N}
(x + 1) + 2u => (+ x:i 3:ui):ui{N}
(x * 3) * 5 => (* x:i 15:i):i{N}
(x * 6) / 3 => (* x:i 2:i):i{N}
(x * 6) / 4 => (/ (* x:i 6:i):i 4:i):i
(x / 2) / 3 => (/ x:i 6:i):i{N}
(x / 65536) / 65536 => (/ (/ x:i 65536:i):i 65536:i):i
(x << 2) << 3 => (<< x:i 5:i):i{N}
(u / 4) / 2 => (>> u:ui 3:ui):ui{N}
(x << 2) >> 1 => (>> (<< x:i 2:i):i 1:i):i
(x + 3) << 1 => (+ (<< x:i 1:i):i 6:i):i
2 * (x + 3) => (+ (<< x:i 1:i):i 6:i):i
(3 + l) << 1 => (+ (<< l:l 1:i):l 6:i):l
(3 + l) * 5 => (* (+ l:l 3:i):l 5:i):i
(x & 12) & 5 => (& (& x:i 12:i):i 5:i):i
10 - (x + 3) => (- 7:i x:i):i{N}
3 - (x + 3) => (neg x:i):i{N}
10 - (4 - x) => (+ x:i 6:i):i{N}
4 - (4 - x) => x:i{N}
10 - (x - 3) => (- 13:i x:i):i{N}
-3 - (x - 3) => (neg x:i):i{N}
// Final steps
d + 1 => (+ d:d 1r:d):d
f * 3 => (* f:f 3r:f):f
2 - d => (- 2:i d:d):d
l / i => (/ l:l i:i):i
i / l => (/ i:i l:l):l +longdiv
ul % 3 => (% ul:ul 3:i):ul +longdiv
f / f2 => (/ f:f f2:f):f +longdiv
d / 3 => (/ d:d 3r:d):d
[f] d / 3 => (/ d:f 3r:f):f +longdiv
)cases");
}

// Every pair of comparisons of a and b joined by && or ||: the result, a
// constant or one comparison of a with b, holds for exactly the orders of
// a and b for which the pair holds.
TEST(Expressions, PairsOfComparisonsFollowTheirTruth) {
    Messages messages;
    auto holds = [](const std::string &op, int order) {
        return op == "<" ? order < 0 : op == ">=" ? order >= 0 : op == ">" ? order > 0
             : op == "<=" ? order <= 0 : op == "==" ? order == 0 : order != 0;
    };
    for (std::string logical : {"&&", "||"})
        for (std::string l : {"<", ">=", ">", "<=", "==", "!="})
            for (std::string r : {"<", ">=", ">", "<=", "==", "!="}) {
                std::string text = "a " + l + " b " + logical + " a " + r + " b";
                std::string tree = engine::run(text, messages), op = tree.substr(1, tree.find(' ') - 1);
                EXPECT_TRUE(tree[0] != '(' || tree == "(" + op + " a:i b:i):i") << text << " => " << tree;
                for (int order = -1; order <= 1; order++) {
                    bool want = logical == "&&" ? holds(l, order) && holds(r, order) : holds(l, order) || holds(r, order);
                    EXPECT_EQ(tree[0] == '(' ? holds(op, order) : tree != "0:i", want) << text << " at " << order;
                }
            }
}

// Deep nesting runs on further stacks where the first one would run out,
// also in a thread with a stack of its own; long chains go in loops.
TEST(Expressions, DeepNestingAndLongChains) {
    Messages messages;
    std::string parens = std::string(100000, '(') + "x" + std::string(100000, ')') + " + 1", in_thread;
    EXPECT_EQ(engine::run(parens, messages), "(+ x:i 1:i):i");
    std::thread([&] { in_thread = engine::run(parens, messages); }).join();
    EXPECT_EQ(in_thread, "(+ x:i 1:i):i");
    auto repeat = [](const std::string &piece, int count) {
        std::string text;
        while (count-- > 0)
            text += piece;
        return text;
    };
    EXPECT_EQ(engine::run(repeat("- ", 100000) + "x", messages), "x:i{N}");
    EXPECT_EQ(engine::run("x" + repeat(" ? x : y ? y : x", 10000), messages).substr(0, 22), "(?: (!= x:i 0:i):i x:i");
    EXPECT_EQ(engine::run("big" + repeat(" + 1", 10000), messages), "&big+10000:c*");
    std::string folded = engine::run("[fold] x / 0" + repeat(" - 7 + x + x", 100000), messages);   // down to the /
    EXPECT_EQ(folded.substr(folded.size() - 14), " # zero divide");
}

// The statement parser cuts the known values and sets them back to heads
// it kept: lookups follow whatever list is in place.  A directive's
// expression is no code of the function: the switch back restores it.
TEST(Expressions, KnownValuesFollowTheListInPlace) {
    Messages messages;
    engine::reset();
    auto parse = [](const char *text) {   // as code of the function, whose state stays
        FuncState after{};
        std::string tree = engine::with_text(text, [&] {
            std::string shape = engine::typed(parse_expression(0));
            after = func_state;
            return shape;
        });
        func_state = after;
        return tree;
    };
    parse("x = 1, y = 2");
    ExprNode *before = func_state.known_values;
    parse("x = 3");
    EXPECT_EQ(parse("n = x + y"), "(= n:i 5:i):i");
    func_state.known_values = before;
    EXPECT_EQ(parse("n = x + y"), "(= n:i 3:i):i");
    FuncState around = func_state;
    engine::with_text("x = 7, fv(), x + y", [] { return engine::typed(parse_expression(0)); });
    EXPECT_EQ(func_state.known_values, around.known_values);
    EXPECT_EQ(func_state.op_count, around.op_count);
    EXPECT_EQ(func_state.call_count, around.call_count);
    parse("x = 5");
    EXPECT_EQ(parse("n = x"), "(= n:i 5:i):i");
    func_state.known_values = nullptr;
    EXPECT_EQ(parse("n = x"), "(= n:i x:i):i");
    EXPECT_EQ(messages.take(), "");
}

TEST(Expressions, ACallOfAnUndeclaredNameDeclaresItOnce) {
    Messages messages;
    EXPECT_EQ(engine::run("zf(1), zf(2)", messages), "(, (call &zf:i()* 1:i):i (call &zf:i()* 2:i):i):i");
    Symbol *sym = engine::symbol("zf");
    uint32_t marks = SYM_IMPLICIT_FN | SYM_DECLARED | SYM_USED | SYM_DBG_CALLED;
    EXPECT_EQ(find_symbol(sym->name, sym->next, nullptr), nullptr);
    EXPECT_EQ(sym->sclass, SC_EXTERN);
    EXPECT_EQ(sym->flags & marks, marks);
    EXPECT_EQ(sym->attr & ATTR_FUNCTION, ATTR_FUNCTION);
}

// A fold that consumes a pooled real gives back the use its operand took.
TEST(Expressions, FoldedRealsGiveBackTheirUses) {
    Messages messages;
    auto uses = [&](const char *text, double value) {
        StringConst *entry = pool_string(&value, sizeof value);
        int before = entry->extra_uses;
        engine::run(text, messages);
        return entry->extra_uses - before;
    };
    for (const char *text : {"7.25 + 1", "-7.25", "(int)7.25", "7.25 < 8"})
        EXPECT_EQ(uses(text, 7.25), uses("7.25", 7.25) - 1) << text;
    EXPECT_EQ(uses("x / 0.0", 0.0), uses("0.0", 0.0) - 1);
}

// What the parser does not give: a cast of a 0 noted as divisor, a
// position saved without a current token, a truncation with its warning.
TEST(Expressions, PiecesBeyondTheParser) {
    Messages messages;
    engine::reset();
    ExprNode *zero = make_int_const(nullptr, 0), *cast = new_expr(OP_CAST), *e = make_int_const(nullptr, 300);
    zero->lflags |= LF_ZERO_DIVIDE;
    zero->position = nullptr;
    cast->left = zero;
    cast->type = &type_double;
    EXPECT_EQ(engine::typed(cast_expr(cast)), "(cast 0!div@?:i):d");
    Token *current = last_token;
    last_token = nullptr;
    EXPECT_EQ(save_position(), nullptr);
    last_token = current;
    truncate_const(e, &type_char, 1);
    truncate_const(e, &type_char, 1);
    EXPECT_EQ(e->value, 44);
    EXPECT_EQ(messages.take(), "truncating constant cast (0x12c)\n");
}

// Random expressions over the declared names, and every fourth one with a
// soup of tokens behind: the parser reports and goes on, always moves
// forward, and the last fold of what it built does not fail.  Under the
// sanitizers this finds reads of missing operands and overflows.
TEST(Expressions, RandomTextNeverStopsTheParser) {
    static const std::vector<std::string> operands = {"x", "u", "c", "uc", "us", "l", "ul", "f", "d", "v", "r", "p",
        "cp", "vp", "fp", "fq", "arr", "m", "st", "st.bit", "st.f5", "st.cb", "sp->m4", "k", "str", "cs", "pg", "0",
        "1", "-1", "2", "8", "31", "32", "255", "256", "0x7fffffff", "0x80000000", "2147483648", "7u", "0.0", "2.5",
        "'a'", "\"st\"", "fv()", "fs()"};
    static const std::vector<std::string> binary = {"+", "-", "*", "/", "%", "<<", ">>", "&", "|", "^", "<", ">=",
        "==", "!=", "&&", "||", "=", "+=", "/=", "%=", "<<=", ","};
    static const std::vector<std::string> junk = {"(", ")", "[", "]", "?", ":", ".", "->", "++", "--", "@", "{",
        "sizeof", "m4", "fil", "strlen", "!", "~", "&", "*", "-"};
    uint32_t seed = 12345;
    auto next = [&seed](uint32_t n) { return ((seed = seed * 1103515245u + 12345u) >> 8) % n; };
    auto pick = [&](const std::vector<std::string> &from) { return from[next(uint32_t(from.size()))]; };
    std::function<std::string(int)> random = [&](int depth) -> std::string {
        switch (depth == 0 ? 0 : next(6)) {
        case 0: return pick(operands);
        case 1: return pick({"-", "~", "!", "*", "&"}) + random(depth - 1);
        case 2: return "(" + random(depth - 1) + " ? " + random(depth - 1) + " : " + random(depth - 1) + ")";
        case 3: return pick({"fil", "fc", "fdots", "strlen"}) + "(" + random(depth - 1) + ")";
        default: return "(" + random(depth - 1) + " " + pick(binary) + " " + random(depth - 1) + ")";
        }
    };
    Messages messages;
    for (int round = 0; round < 8000; round++) {
        std::string text = random(3);
        for (int n = round % 4 ? 0 : 12; n > 0; n--)
            text += " " + pick(junk) + " " + pick(operands);
        engine::reset();
        engine::with_text(text, [&] {
            for (int steps = 0; steps < 40; steps++) {
                if (ExprNode *e = parse_expression(round & 1))
                    fold_expr(e, round % 3 ? 0 : TY_CHAR);
                if (Token *t = next_token(); t->code == TOK_SEMI || t->code == TOK_EOF)
                    return std::string();
            }
            ADD_FAILURE() << "no progress in " << text;
            return std::string();
        });
        messages.take();
    }
    engine::reset();
}
