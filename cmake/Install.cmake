# What `cmake --install` puts in place: library, headers, CMake package, pkg-config file. (lum and LumRes.dll say so themselves.)
include(CMakePackageConfigHelpers)

target_compile_features(LumBase PUBLIC cxx_std_20)
set(LUMBASE_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/LumBase)

install(TARGETS LumBase EXPORT LumBaseTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT LumBaseTargets NAMESPACE LumBase:: DESTINATION ${LUMBASE_INSTALL_CMAKE})

# The public headers and what they include in turn; what no client can meet stays here. Three folders become one.
set(roots ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/framework ${CMAKE_SOURCE_DIR}/platform)
if(WIN32)
    set(other_system ${CMAKE_SOURCE_DIR}/platform/linux/)
else()
    set(other_system ${CMAKE_SOURCE_DIR}/platform/windows/)
endif()
file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/include/*.h)
set(seen ${headers})
while(headers)
    list(POP_FRONT headers header)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    cmake_path(GET header PARENT_PATH folder)
    foreach(root ${roots})
        cmake_path(IS_PREFIX root ${header} is_below)
        if(is_below)
            cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${root} OUTPUT_VARIABLE place)
            install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumbase/${place})
        endif()
    endforeach()
    file(STRINGS ${header} lines REGEX "^#include \"")
    foreach(line ${lines})
        string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" name "${line}")
        foreach(place ${folder} ${roots})
            cmake_path(ABSOLUTE_PATH name BASE_DIRECTORY ${place} NORMALIZE OUTPUT_VARIABLE included)
            cmake_path(IS_PREFIX other_system ${included} is_foreign)
            if(EXISTS ${included} AND NOT is_foreign AND NOT included IN_LIST seen)
                list(APPEND headers ${included})
                list(APPEND seen ${included})
            endif()
        endforeach()
    endforeach()
endwhile()

configure_package_config_file(cmake/LumBaseConfig.cmake.in LumBaseConfig.cmake INSTALL_DESTINATION ${LUMBASE_INSTALL_CMAKE})
write_basic_package_version_file(LumBaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/LumBaseConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/LumBaseConfigVersion.cmake
    DESTINATION ${LUMBASE_INSTALL_CMAKE})

# The file finds the prefix from where it lies, so that an installed tree can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig
    OUTPUT_VARIABLE LUMBASE_PC_TO_PREFIX)
configure_file(cmake/lumbase.pc.in lumbase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lumbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(WIN32)
    # Exceptions cross from the library into programs, so all of them share one runtime; it lies beside them.
    foreach(runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        if(NOT IS_ABSOLUTE "${path}")
            message(FATAL_ERROR "The compiler does not know where its ${runtime} lies.")
        endif()
        file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endforeach()
endif()
