#include "CorvelAlg.h"
int main(void){return 0;}
