// A vector that holds a NaN or an infinity counts as zero.
#define MAX_FLOAT 3.402823466e+38

bool isBroken(vec3 v) { return any(isnan(v)) || any(isinf(v)); }
vec3 removeNan(vec3 v) { return isBroken(v) ? vec3(0.0) : v; }
vec4 removeNan(vec4 v) { return any(isnan(v)) || any(isinf(v)) ? vec4(0.0) : v; }
