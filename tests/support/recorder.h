/* What a recording stand-in library notes of each call, and what it is told to do in it. */
#ifndef VSWITCHPY_TESTS_RECORDER_H
#define VSWITCHPY_TESTS_RECORDER_H

/* Called by every stand-in, in this order. */
void record_call(const char *name);
void record_signed(int position, long long value);
void record_unsigned(int position, unsigned long long value);
void record_pointer(int position, void *pointer);
void record_text(int position, char *text);
long long recorded_result(void);

/* Called by the tests. */
void recorder_reset(void);
const char *recorder_log(void);         /* a line a call: name, then an argument each, tab-separated */
void recorder_return(long long result); /* of the calls that follow */
void recorder_store(int position, long long value, int width); /* through the pointer at that position */
void recorder_store_text(int position, const char *text, int size);
void recorder_abort(void *exception_class, const char *message, int jump_value); /* the next call */
const char *recorder_kept_text(int index); /* first text argument of that aborted call */

#endif
