/* A stand-in library without functions: they are all in another one. */
typedef int nothing;
