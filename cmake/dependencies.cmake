# BLAS/LAPACK(E) from OpenBLAS, CHOLMOD/AMD/METIS from SuiteSparse: Debian packages without
# CMake package files, so they are found by name and wrapped in imported targets.
find_path(CHOLMOD_INCLUDE_DIR cholmod.h PATH_SUFFIXES suitesparse REQUIRED)
find_library(CHOLMOD_LIB cholmod REQUIRED)
find_library(AMD_LIB amd REQUIRED)
find_library(CAMD_LIB camd REQUIRED)
find_library(COLAMD_LIB colamd REQUIRED)
find_library(CCOLAMD_LIB ccolamd REQUIRED)
find_library(SSCONFIG_LIB suitesparseconfig REQUIRED)
find_library(METIS_LIB metis REQUIRED)
find_library(OPENBLAS_LIB openblas REQUIRED)
find_library(LAPACK_LIB lapack REQUIRED)
find_library(LAPACKE_LIB lapacke REQUIRED)
find_path(LAPACKE_INCLUDE_DIR lapacke.h REQUIRED)

add_library(ventrel::lapack INTERFACE IMPORTED)
target_include_directories(ventrel::lapack INTERFACE ${LAPACKE_INCLUDE_DIR})
target_link_libraries(ventrel::lapack INTERFACE ${LAPACKE_LIB} ${LAPACK_LIB} ${OPENBLAS_LIB})

add_library(ventrel::cholmod INTERFACE IMPORTED)
target_include_directories(ventrel::cholmod SYSTEM INTERFACE ${CHOLMOD_INCLUDE_DIR})
target_link_libraries(ventrel::cholmod INTERFACE ${CHOLMOD_LIB} ${AMD_LIB} ${CAMD_LIB}
  ${COLAMD_LIB} ${CCOLAMD_LIB} ${METIS_LIB} ${SSCONFIG_LIB} ventrel::lapack)
