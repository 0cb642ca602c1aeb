// How a problem is computed: a tree of steps, whose leaves are plans of the library.
//
// The library has transforms and batches of up to three dimensions, with strides from 1 on. The
// rest is made of them:
//
//   rank above 3        the three inner dimensions as one batched transform, then the outer ones in
//                       place on the results; complex to real the other way round
//   batch rank above 3  a loop over the outermost dimensions that are left over; so too batches
//                       whose strides are 0 or of different signs
//   strides below 1     within a transform: through a buffer without gaps, a part of the batch at a
//                       time
//   in place            where results move in a way that the library does not take on: through a
//                       buffer for the whole input
#pragma once

#include "problem.h"

namespace compat {

struct step;
using step_function = void (*)(const step *s, const arrays &a);

struct loop {
    ptrdiff_t n, in, out;  // in reals
};

// A block of memory that executions borrow: the plan's own, or one from the heap when another
// thread has that.
struct buffer {
    ptrdiff_t count;      // reals of one array
    ptrdiff_t imaginary;  // where the imaginary array begins; 0: there is none
    real *memory;
    mutable int taken;
};

struct step {
    step_function run;
    plan_handle leaf;
    step *first;
    step *second;
    loop *loops;  // of a loop or a copy
    int loop_count;
    int width;  // reals of an element that is copied
    offsets moved;
    buffer between;
    void *counted;  // what a step that takes times counts in
};

// Plans a problem; null when memory runs out or its arrays could not be addressed. Changes p.
step *build(problem &p);

// For an empty batch; null when memory runs out.
step *build_nothing();

// Releases a step and what it holds. Null is ignored.
void destroy(step *s);

// Writes a step as text, a line for each, indented by `depth`.
void describe(const step *s, int depth, void (*line)(void *context, int depth, const char *text),
              void *context);

}  // namespace compat
