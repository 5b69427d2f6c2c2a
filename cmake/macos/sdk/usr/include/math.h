#pragma once
// Each function for double, float and long double: libc++'s own overloads name them.
#define HUGE_VAL (__builtin_huge_val())
#define INFINITY (__builtin_inff())
#define NAN (__builtin_nanf(""))
#define FP_NAN 1
#define FP_INFINITE 2
#define FP_ZERO 3
#define FP_NORMAL 4
#define FP_SUBNORMAL 5
#define fpclassify(x) __builtin_fpclassify(FP_NAN, FP_INFINITE, FP_NORMAL, FP_SUBNORMAL, FP_ZERO, x)
#define isfinite(x) __builtin_isfinite(x)
#define isinf(x) __builtin_isinf(x)
#define isnan(x) __builtin_isnan(x)
#define isnormal(x) __builtin_isnormal(x)
#define signbit(x) __builtin_signbit(x)
#define isgreater(x, y) __builtin_isgreater(x, y)
#define isgreaterequal(x, y) __builtin_isgreaterequal(x, y)
#define isless(x, y) __builtin_isless(x, y)
#define islessequal(x, y) __builtin_islessequal(x, y)
#define islessgreater(x, y) __builtin_islessgreater(x, y)
#define isunordered(x, y) __builtin_isunordered(x, y)

#if defined(__cplusplus)
extern "C" {
#endif

#define FOR_EACH_TYPE(DECLARE, name)                                                               \
  DECLARE(double, name) DECLARE(float, name##f) DECLARE(long double, name##l)
#define OF_ONE(T, name) T name(T);
#define OF_TWO(T, name) T name(T, T);
#define OF_THREE(T, name) T name(T, T, T);
#define TO_INT(T, name) int name(T);
#define TO_LONG(T, name) long name(T);
#define TO_LONG_LONG(T, name) long long name(T);
#define WITH_INT(T, name) T name(T, int);
#define WITH_LONG(T, name) T name(T, long);
#define WITH_LONG_DOUBLE(T, name) T name(T, long double);
#define WITH_INT_TO(T, name) T name(T, int *);
#define WITH_TO(T, name) T name(T, T *);
#define WITH_TWO_TO(T, name) T name(T, T, int *);
FOR_EACH_TYPE(OF_ONE, acos)
FOR_EACH_TYPE(OF_ONE, asin)
FOR_EACH_TYPE(OF_ONE, atan)
FOR_EACH_TYPE(OF_ONE, ceil)
FOR_EACH_TYPE(OF_ONE, cos)
FOR_EACH_TYPE(OF_ONE, cosh)
FOR_EACH_TYPE(OF_ONE, exp)
FOR_EACH_TYPE(OF_ONE, fabs)
FOR_EACH_TYPE(OF_ONE, floor)
FOR_EACH_TYPE(OF_ONE, log)
FOR_EACH_TYPE(OF_ONE, log10)
FOR_EACH_TYPE(OF_ONE, sin)
FOR_EACH_TYPE(OF_ONE, sinh)
FOR_EACH_TYPE(OF_ONE, sqrt)
FOR_EACH_TYPE(OF_ONE, tan)
FOR_EACH_TYPE(OF_ONE, tanh)
FOR_EACH_TYPE(OF_ONE, acosh)
FOR_EACH_TYPE(OF_ONE, asinh)
FOR_EACH_TYPE(OF_ONE, atanh)
FOR_EACH_TYPE(OF_ONE, cbrt)
FOR_EACH_TYPE(OF_ONE, erf)
FOR_EACH_TYPE(OF_ONE, erfc)
FOR_EACH_TYPE(OF_ONE, exp2)
FOR_EACH_TYPE(OF_ONE, expm1)
FOR_EACH_TYPE(OF_ONE, lgamma)
FOR_EACH_TYPE(OF_ONE, log1p)
FOR_EACH_TYPE(OF_ONE, log2)
FOR_EACH_TYPE(OF_ONE, logb)
FOR_EACH_TYPE(OF_ONE, nearbyint)
FOR_EACH_TYPE(OF_ONE, rint)
FOR_EACH_TYPE(OF_ONE, round)
FOR_EACH_TYPE(OF_ONE, tgamma)
FOR_EACH_TYPE(OF_ONE, trunc)
FOR_EACH_TYPE(OF_TWO, atan2)
FOR_EACH_TYPE(OF_TWO, fmod)
FOR_EACH_TYPE(OF_TWO, pow)
FOR_EACH_TYPE(OF_TWO, copysign)
FOR_EACH_TYPE(OF_TWO, fdim)
FOR_EACH_TYPE(OF_TWO, fmax)
FOR_EACH_TYPE(OF_TWO, fmin)
FOR_EACH_TYPE(OF_TWO, hypot)
FOR_EACH_TYPE(OF_TWO, nextafter)
FOR_EACH_TYPE(OF_TWO, remainder)
FOR_EACH_TYPE(OF_THREE, fma)
FOR_EACH_TYPE(TO_INT, ilogb)
FOR_EACH_TYPE(TO_LONG, lrint)
FOR_EACH_TYPE(TO_LONG, lround)
FOR_EACH_TYPE(TO_LONG_LONG, llrint)
FOR_EACH_TYPE(TO_LONG_LONG, llround)
FOR_EACH_TYPE(WITH_INT, ldexp)
FOR_EACH_TYPE(WITH_INT, scalbn)
FOR_EACH_TYPE(WITH_LONG, scalbln)
FOR_EACH_TYPE(WITH_LONG_DOUBLE, nexttoward)
FOR_EACH_TYPE(WITH_INT_TO, frexp)
FOR_EACH_TYPE(WITH_TO, modf)
FOR_EACH_TYPE(WITH_TWO_TO, remquo)

#if defined(__cplusplus)
}
#endif
