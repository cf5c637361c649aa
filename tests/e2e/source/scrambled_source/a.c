/* plain */
#error back in the plain file
