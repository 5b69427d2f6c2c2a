#pragma once
typedef __SIZE_TYPE__ size_t;
typedef long ssize_t;
typedef long long off_t;
typedef long time_t;
