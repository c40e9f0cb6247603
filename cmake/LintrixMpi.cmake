# MPI and the parallel MUMPS, by the names that Debian gives it beside the sequential one (libdmumps_seq). Sets
# LINTRIX_HAVE_MPI and, where both are found, makes Lintrix::mumps.

find_package(MPI QUIET COMPONENTS CXX)
find_path(LINTRIX_MUMPS_INCLUDE_DIR dmumps_c.h DOC "Folder of the headers of MUMPS")
find_library(LINTRIX_DMUMPS_LIBRARY NAMES dmumps dmumps_ptscotch DOC "The parallel MUMPS for real numbers")
find_library(LINTRIX_ZMUMPS_LIBRARY NAMES zmumps zmumps_ptscotch DOC "The parallel MUMPS for complex numbers")
mark_as_advanced(LINTRIX_MUMPS_INCLUDE_DIR LINTRIX_DMUMPS_LIBRARY LINTRIX_ZMUMPS_LIBRARY)

set(LINTRIX_HAVE_MPI OFF)
if(MPI_CXX_FOUND AND LINTRIX_MUMPS_INCLUDE_DIR AND LINTRIX_DMUMPS_LIBRARY AND LINTRIX_ZMUMPS_LIBRARY)
  set(LINTRIX_HAVE_MPI ON)
  add_library(Lintrix::mumps INTERFACE IMPORTED)
  target_include_directories(Lintrix::mumps SYSTEM INTERFACE "${LINTRIX_MUMPS_INCLUDE_DIR}")
  target_link_libraries(Lintrix::mumps INTERFACE "${LINTRIX_DMUMPS_LIBRARY}" "${LINTRIX_ZMUMPS_LIBRARY}")
endif()
