#include "CorvelAlg.h"
