# shellcheck shell=sh
# Sourced by the tests of the packages: what README has a user write. `readme` is its path.

# The Nth block of a language.
block_of_readme() # LANGUAGE N
{
    awk -v fence="\`\`\`$1" -v wanted="$2" '
        $0 == fence { ++seen; next }
        /^```/ { if (inside) exit; next }
        seen == wanted && !past { print; inside = 1 }' "$readme"
}

# What the first program prints, without its residuals, which differ with the kernels of BLAS.
expected_of_readme() { awk '/^x = /' "$readme" | head -n 3 | sed 's/, residual.*//'; }

# write_project FOLDER: the first program, with README's lines for CMake.
write_project()
{
    mkdir -p "$1"
    block_of_readme cpp 1 >"$1/my_program.cpp"
    {
        echo 'cmake_minimum_required(VERSION 3.25)'
        echo 'project(MyProject LANGUAGES CXX)'
        echo 'add_executable(my_program my_program.cpp)'
        block_of_readme cmake 1
    } >"$1/CMakeLists.txt"
    cat "$1/CMakeLists.txt" "$1/my_program.cpp"
}

# check_python: what README types into Python is answered as it shows.
check_python()
{
    block_of_readme python 1 >session.txt
    grep -q '^>>> .*lintrix' session.txt || {
        echo "README has no session of Python"
        exit 1
    }
    /usr/bin/python3 -B -m doctest session.txt
    rm session.txt
}

# check_program PROGRAM: it prints what README tells.
check_program()
{
    said=$("$1" | sed 's/, residual.*//')
    if [ "$said" != "$(expected_of_readme)" ] || [ -z "$said" ]; then
        echo "$1 does not print what README shows, but: $said"
        exit 1
    fi
}
