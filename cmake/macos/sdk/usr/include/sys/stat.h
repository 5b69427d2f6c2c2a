#pragma once
#include <sys/types.h>

struct stat;
