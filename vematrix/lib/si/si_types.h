#pragma once
namespace si {
enum ShiftStrat : int { SHIFT_AGGRESSIVE = 0, SHIFT_CONSERVATIVE = 1, SHIFT_NONE = 2 };
enum Status : int { STATUS_OK = 0, STATUS_LAPACK = -3, STATUS_FACTORIZE = -101, STATUS_NOT_POSDEF = -102, STATUS_ORTHO = -210 };
enum EVAL_LOCATION : int { EVAL_LOWEST = 0, EVAL_HIGHEST = 1 };
}
