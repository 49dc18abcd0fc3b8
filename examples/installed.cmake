# Builds the two examples against an installed ownerlink:
#
#   cp -r DOCUMENTS/examples . && cmake -S examples -B build && cmake --build build
cmake_minimum_required(VERSION 3.16)
project(ownerlink_examples LANGUAGES CXX)

find_package(ownerlink REQUIRED)
foreach(program manager owner)
    add_executable(${program} ${program}.cpp)
    target_link_libraries(${program} PRIVATE ownerlink::ownerlink)
endforeach()
