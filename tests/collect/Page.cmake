# The program in PAGE is SOURCE.
cmake_minimum_required(VERSION 3.25)

file(READ ${PAGE} page)
file(READ ${SOURCE} source)
string(FIND "${page}" "```cpp\n${source}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${PAGE} shows another program than ${SOURCE}")
endif()
