// Compiled with nothing but the estimator's header before it: it must need no other header of the library.
#include "si/OneNormEst.h"

#ifdef VEMATRIX_API
#error "the estimator's header includes a header of the library"
#endif
