! LYRA FFT for Fortran: the functions and constants of the C interfaces, with typed arguments. The
! functions of single precision, lyr_fftf_.., follow those of double precision and take c_float and
! c_float_complex; programs that use them link libLYRA_fftf.
! Written by tools/gen_fortran.py from lyr_fft.h, which describes every function.
!
!     use lyra_fft
!     type(c_ptr) :: plan
!     complex(c_double_complex), target :: x(1024), y(1024)
!     plan = lyr_fft_plan_dft_1d(1024, x, y, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE)
!     if (.not. c_associated(plan)) error stop "no plan"
!     call lyr_fft_execute_dft(plan, x, y)
!     call lyr_fft_destroy_plan(plan)
!
! Dimensions are those of C, the last one varies fastest: give the lengths of a Fortran array in
! reverse order. Transform a(m, n) by lyr_fft_plan_dft_2d(n, m, a, ...).
!
! Arrays must be contiguous; those that lyr_fft_execute is to use, which are the ones given at
! planning, must have the attribute target. In place, give the same array twice. Leave out inembed
! and onembed (then name the arguments that follow) for arrays without padding.
!
! The module holds interfaces and constants only: nothing has to be linked but the libraries used.
module lyra_fft
    use, intrinsic :: iso_c_binding
    implicit none
    public

    ! lyr_fft_version
    character(len=*), parameter :: LYR_FFT_VERSION = "fft version: 2.0.2.B001"

    integer(c_int), parameter :: LYR_FFT_VERSION_NUMBER = 20200
    integer(c_int), parameter :: LYR_FFT_FORWARD = -1
    integer(c_int), parameter :: LYR_FFT_BACKWARD = 1
    integer(c_int), parameter :: LYR_FFT_MEASURE = 0
    integer(c_int), parameter :: LYR_FFT_DESTROY_INPUT = 1
    integer(c_int), parameter :: LYR_FFT_UNALIGNED = 2
    integer(c_int), parameter :: LYR_FFT_CONSERVE_MEMORY = 4
    integer(c_int), parameter :: LYR_FFT_EXHAUSTIVE = 8
    integer(c_int), parameter :: LYR_FFT_PRESERVE_INPUT = 16
    integer(c_int), parameter :: LYR_FFT_PATIENT = 32
    integer(c_int), parameter :: LYR_FFT_ESTIMATE = 64
    integer(c_int), parameter :: LYR_FFT_WISDOM_ONLY = 2097152
    integer(c_int), parameter :: LYR_FFT_R2HC = 0
    integer(c_int), parameter :: LYR_FFT_HC2R = 1
    integer(c_int), parameter :: LYR_FFT_DHT = 2
    integer(c_int), parameter :: LYR_FFT_REDFT00 = 3
    integer(c_int), parameter :: LYR_FFT_REDFT01 = 4
    integer(c_int), parameter :: LYR_FFT_REDFT10 = 5
    integer(c_int), parameter :: LYR_FFT_REDFT11 = 6
    integer(c_int), parameter :: LYR_FFT_RODFT00 = 7
    integer(c_int), parameter :: LYR_FFT_RODFT01 = 8
    integer(c_int), parameter :: LYR_FFT_RODFT10 = 9
    integer(c_int), parameter :: LYR_FFT_RODFT11 = 10

    type, bind(c) :: lyr_fft_iodim
        integer(c_int) :: n
        integer(c_int) :: is
        integer(c_int) :: os
    end type lyr_fft_iodim

    type, bind(c) :: lyr_fft_iodim64
        integer(c_int64_t) :: n
        integer(c_int64_t) :: is
        integer(c_int64_t) :: os
    end type lyr_fft_iodim64

    type, bind(c) :: LFFTVersionRecord
        character(kind=c_char) :: product_name(100)
        character(kind=c_char) :: product_version(100)
        character(kind=c_char) :: component_name(100)
        character(kind=c_char) :: component_version(100)
        character(kind=c_char) :: compiler(100)
        character(kind=c_char) :: library_name(100)
        character(kind=c_char) :: library_version(100)
    end type LFFTVersionRecord

    interface
        function lyr_fft_plan_dft_1d(n, in, out, sign, flags) &
            bind(c, name="lyr_fft_plan_dft_1d") result(answer)
            import
            integer(c_int), value :: n
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_1d

        function lyr_fft_plan_dft_2d(n0, n1, in, out, sign, flags) &
            bind(c, name="lyr_fft_plan_dft_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_2d

        function lyr_fft_plan_dft_3d(n0, n1, n2, in, out, sign, flags) &
            bind(c, name="lyr_fft_plan_dft_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_3d

        function lyr_fft_plan_dft(rank, n, in, out, sign, flags) &
            bind(c, name="lyr_fft_plan_dft") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft

        function lyr_fft_plan_many_dft(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, sign, flags) &
            bind(c, name="lyr_fft_plan_many_dft") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            complex(c_double_complex), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_many_dft

        function lyr_fft_plan_dft_r2c_1d(n, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_r2c_1d") result(answer)
            import
            integer(c_int), value :: n
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_r2c_1d

        function lyr_fft_plan_dft_r2c_2d(n0, n1, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_r2c_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_r2c_2d

        function lyr_fft_plan_dft_r2c_3d(n0, n1, n2, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_r2c_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_r2c_3d

        function lyr_fft_plan_dft_r2c(rank, n, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_r2c

        function lyr_fft_plan_many_dft_r2c(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, flags) &
            bind(c, name="lyr_fft_plan_many_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            real(c_double), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_many_dft_r2c

        function lyr_fft_plan_dft_c2r_1d(n, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_c2r_1d") result(answer)
            import
            integer(c_int), value :: n
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_c2r_1d

        function lyr_fft_plan_dft_c2r_2d(n0, n1, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_c2r_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_c2r_2d

        function lyr_fft_plan_dft_c2r_3d(n0, n1, n2, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_c2r_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_c2r_3d

        function lyr_fft_plan_dft_c2r(rank, n, in, out, flags) &
            bind(c, name="lyr_fft_plan_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_dft_c2r

        function lyr_fft_plan_many_dft_c2r(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, flags) &
            bind(c, name="lyr_fft_plan_many_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            complex(c_double_complex), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            real(c_double), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_many_dft_c2r

        function lyr_fft_plan_r2r_1d(n, in, out, kind, flags) &
            bind(c, name="lyr_fft_plan_r2r_1d") result(answer)
            import
            integer(c_int), value :: n
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: kind
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_r2r_1d

        function lyr_fft_plan_r2r_2d(n0, n1, in, out, kind0, kind1, flags) &
            bind(c, name="lyr_fft_plan_r2r_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: kind0
            integer(c_int), value :: kind1
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_r2r_2d

        function lyr_fft_plan_r2r_3d(n0, n1, n2, in, out, kind0, kind1, kind2, flags) &
            bind(c, name="lyr_fft_plan_r2r_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: kind0
            integer(c_int), value :: kind1
            integer(c_int), value :: kind2
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_r2r_3d

        function lyr_fft_plan_r2r(rank, n, in, out, kind, flags) &
            bind(c, name="lyr_fft_plan_r2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_r2r

        function lyr_fft_plan_many_r2r(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, kind, flags) &
            bind(c, name="lyr_fft_plan_many_r2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            real(c_double), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            real(c_double), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_many_r2r

        function lyr_fft_plan_guru_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign, &
            flags) bind(c, name="lyr_fft_plan_guru_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_dft

        function lyr_fft_plan_guru_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out, flags) &
            bind(c, name="lyr_fft_plan_guru_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_dft_r2c

        function lyr_fft_plan_guru_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out, flags) &
            bind(c, name="lyr_fft_plan_guru_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_dft_c2r

        function lyr_fft_plan_guru_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind, &
            flags) bind(c, name="lyr_fft_plan_guru_r2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_r2r

        function lyr_fft_plan_guru_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, ro, &
            io, flags) bind(c, name="lyr_fft_plan_guru_split_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_split_dft

        function lyr_fft_plan_guru_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, ro, &
            io, flags) bind(c, name="lyr_fft_plan_guru_split_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_split_dft_r2c

        function lyr_fft_plan_guru_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, ii, &
            out, flags) bind(c, name="lyr_fft_plan_guru_split_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru_split_dft_c2r

        function lyr_fft_plan_guru64_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign, &
            flags) bind(c, name="lyr_fft_plan_guru64_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_dft

        function lyr_fft_plan_guru64_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out, &
            flags) bind(c, name="lyr_fft_plan_guru64_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_dft_r2c

        function lyr_fft_plan_guru64_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out, &
            flags) bind(c, name="lyr_fft_plan_guru64_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_dft_c2r

        function lyr_fft_plan_guru64_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind, &
            flags) bind(c, name="lyr_fft_plan_guru64_r2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_r2r

        function lyr_fft_plan_guru64_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, &
            ro, io, flags) bind(c, name="lyr_fft_plan_guru64_split_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_split_dft

        function lyr_fft_plan_guru64_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, &
            ro, io, flags) bind(c, name="lyr_fft_plan_guru64_split_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_split_dft_r2c

        function lyr_fft_plan_guru64_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, &
            ii, out, flags) bind(c, name="lyr_fft_plan_guru64_split_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fft_plan_guru64_split_dft_c2r

        subroutine lyr_fft_execute(plan) bind(c, name="lyr_fft_execute")
            import
            type(c_ptr), value :: plan
        end subroutine lyr_fft_execute

        subroutine lyr_fft_execute_dft(plan, in, out) bind(c, name="lyr_fft_execute_dft")
            import
            type(c_ptr), value :: plan
            complex(c_double_complex), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
        end subroutine lyr_fft_execute_dft

        subroutine lyr_fft_execute_dft_r2c(plan, in, out) bind(c, name="lyr_fft_execute_dft_r2c")
            import
            type(c_ptr), value :: plan
            real(c_double), intent(inout) :: in(*)
            complex(c_double_complex), intent(inout) :: out(*)
        end subroutine lyr_fft_execute_dft_r2c

        subroutine lyr_fft_execute_dft_c2r(plan, in, out) bind(c, name="lyr_fft_execute_dft_c2r")
            import
            type(c_ptr), value :: plan
            complex(c_double_complex), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
        end subroutine lyr_fft_execute_dft_c2r

        subroutine lyr_fft_execute_r2r(plan, in, out) bind(c, name="lyr_fft_execute_r2r")
            import
            type(c_ptr), value :: plan
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: out(*)
        end subroutine lyr_fft_execute_r2r

        subroutine lyr_fft_execute_split_dft(plan, ri, ii, ro, io) &
            bind(c, name="lyr_fft_execute_split_dft")
            import
            type(c_ptr), value :: plan
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
        end subroutine lyr_fft_execute_split_dft

        subroutine lyr_fft_execute_split_dft_r2c(plan, in, ro, io) &
            bind(c, name="lyr_fft_execute_split_dft_r2c")
            import
            type(c_ptr), value :: plan
            real(c_double), intent(inout) :: in(*)
            real(c_double), intent(inout) :: ro(*)
            real(c_double), intent(inout) :: io(*)
        end subroutine lyr_fft_execute_split_dft_r2c

        subroutine lyr_fft_execute_split_dft_c2r(plan, ri, ii, out) &
            bind(c, name="lyr_fft_execute_split_dft_c2r")
            import
            type(c_ptr), value :: plan
            real(c_double), intent(inout) :: ri(*)
            real(c_double), intent(inout) :: ii(*)
            real(c_double), intent(inout) :: out(*)
        end subroutine lyr_fft_execute_split_dft_c2r

        subroutine lyr_fft_destroy_plan(plan) bind(c, name="lyr_fft_destroy_plan")
            import
            type(c_ptr), value :: plan
        end subroutine lyr_fft_destroy_plan

        subroutine lyr_fft_cleanup() bind(c, name="lyr_fft_cleanup")
            import
        end subroutine lyr_fft_cleanup

        function lyr_fft_malloc(n) bind(c, name="lyr_fft_malloc") result(answer)
            import
            integer(c_size_t), value :: n
            type(c_ptr) :: answer
        end function lyr_fft_malloc

        subroutine lyr_fft_free(p) bind(c, name="lyr_fft_free")
            import
            type(c_ptr), value :: p
        end subroutine lyr_fft_free

        function lyr_fft_init_threads() bind(c, name="lyr_fft_init_threads") result(answer)
            import
            integer(c_int) :: answer
        end function lyr_fft_init_threads

        subroutine lyr_fft_plan_with_nthreads(nthreads) bind(c, name="lyr_fft_plan_with_nthreads")
            import
            integer(c_int), value :: nthreads
        end subroutine lyr_fft_plan_with_nthreads

        subroutine lyr_fft_cleanup_threads() bind(c, name="lyr_fft_cleanup_threads")
            import
        end subroutine lyr_fft_cleanup_threads

        function LFFTGetVersion(record) bind(c, name="LFFTGetVersion") result(answer)
            import
            type(LFFTVersionRecord), intent(out) :: record
            integer(c_int) :: answer
        end function LFFTGetVersion

        function lyr_fftf_plan_dft_1d(n, in, out, sign, flags) &
            bind(c, name="lyr_fftf_plan_dft_1d") result(answer)
            import
            integer(c_int), value :: n
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_1d

        function lyr_fftf_plan_dft_2d(n0, n1, in, out, sign, flags) &
            bind(c, name="lyr_fftf_plan_dft_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_2d

        function lyr_fftf_plan_dft_3d(n0, n1, n2, in, out, sign, flags) &
            bind(c, name="lyr_fftf_plan_dft_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_3d

        function lyr_fftf_plan_dft(rank, n, in, out, sign, flags) &
            bind(c, name="lyr_fftf_plan_dft") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft

        function lyr_fftf_plan_many_dft(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, sign, flags) &
            bind(c, name="lyr_fftf_plan_many_dft") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            complex(c_float_complex), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_many_dft

        function lyr_fftf_plan_dft_r2c_1d(n, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_r2c_1d") result(answer)
            import
            integer(c_int), value :: n
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_r2c_1d

        function lyr_fftf_plan_dft_r2c_2d(n0, n1, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_r2c_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_r2c_2d

        function lyr_fftf_plan_dft_r2c_3d(n0, n1, n2, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_r2c_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_r2c_3d

        function lyr_fftf_plan_dft_r2c(rank, n, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_r2c

        function lyr_fftf_plan_many_dft_r2c(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, flags) &
            bind(c, name="lyr_fftf_plan_many_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            real(c_float), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_many_dft_r2c

        function lyr_fftf_plan_dft_c2r_1d(n, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_c2r_1d") result(answer)
            import
            integer(c_int), value :: n
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_c2r_1d

        function lyr_fftf_plan_dft_c2r_2d(n0, n1, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_c2r_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_c2r_2d

        function lyr_fftf_plan_dft_c2r_3d(n0, n1, n2, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_c2r_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_c2r_3d

        function lyr_fftf_plan_dft_c2r(rank, n, in, out, flags) &
            bind(c, name="lyr_fftf_plan_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_dft_c2r

        function lyr_fftf_plan_many_dft_c2r(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, flags) &
            bind(c, name="lyr_fftf_plan_many_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            complex(c_float_complex), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            real(c_float), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_many_dft_c2r

        function lyr_fftf_plan_r2r_1d(n, in, out, kind, flags) &
            bind(c, name="lyr_fftf_plan_r2r_1d") result(answer)
            import
            integer(c_int), value :: n
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: kind
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_r2r_1d

        function lyr_fftf_plan_r2r_2d(n0, n1, in, out, kind0, kind1, flags) &
            bind(c, name="lyr_fftf_plan_r2r_2d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: kind0
            integer(c_int), value :: kind1
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_r2r_2d

        function lyr_fftf_plan_r2r_3d(n0, n1, n2, in, out, kind0, kind1, kind2, flags) &
            bind(c, name="lyr_fftf_plan_r2r_3d") result(answer)
            import
            integer(c_int), value :: n0
            integer(c_int), value :: n1
            integer(c_int), value :: n2
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: kind0
            integer(c_int), value :: kind1
            integer(c_int), value :: kind2
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_r2r_3d

        function lyr_fftf_plan_r2r(rank, n, in, out, kind, flags) &
            bind(c, name="lyr_fftf_plan_r2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_r2r

        function lyr_fftf_plan_many_r2r(rank, n, howmany, in, inembed, istride, idist, out, &
            onembed, ostride, odist, kind, flags) &
            bind(c, name="lyr_fftf_plan_many_r2r") result(answer)
            import
            integer(c_int), value :: rank
            integer(c_int), intent(in) :: n(*)
            integer(c_int), value :: howmany
            real(c_float), intent(inout) :: in(*)
            integer(c_int), intent(in), optional :: inembed(*)
            integer(c_int), value :: istride
            integer(c_int), value :: idist
            real(c_float), intent(inout) :: out(*)
            integer(c_int), intent(in), optional :: onembed(*)
            integer(c_int), value :: ostride
            integer(c_int), value :: odist
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_many_r2r

        function lyr_fftf_plan_guru_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign, &
            flags) bind(c, name="lyr_fftf_plan_guru_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_dft

        function lyr_fftf_plan_guru_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out, flags) &
            bind(c, name="lyr_fftf_plan_guru_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_dft_r2c

        function lyr_fftf_plan_guru_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out, flags) &
            bind(c, name="lyr_fftf_plan_guru_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_dft_c2r

        function lyr_fftf_plan_guru_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind, &
            flags) bind(c, name="lyr_fftf_plan_guru_r2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_r2r

        function lyr_fftf_plan_guru_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, ro, &
            io, flags) bind(c, name="lyr_fftf_plan_guru_split_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_split_dft

        function lyr_fftf_plan_guru_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, ro, &
            io, flags) bind(c, name="lyr_fftf_plan_guru_split_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_split_dft_r2c

        function lyr_fftf_plan_guru_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, ii, &
            out, flags) bind(c, name="lyr_fftf_plan_guru_split_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru_split_dft_c2r

        function lyr_fftf_plan_guru64_dft(rank, dims, howmany_rank, howmany_dims, in, out, sign, &
            flags) bind(c, name="lyr_fftf_plan_guru64_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: sign
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_dft

        function lyr_fftf_plan_guru64_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, out, &
            flags) bind(c, name="lyr_fftf_plan_guru64_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_dft_r2c

        function lyr_fftf_plan_guru64_dft_c2r(rank, dims, howmany_rank, howmany_dims, in, out, &
            flags) bind(c, name="lyr_fftf_plan_guru64_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_dft_c2r

        function lyr_fftf_plan_guru64_r2r(rank, dims, howmany_rank, howmany_dims, in, out, kind, &
            flags) bind(c, name="lyr_fftf_plan_guru64_r2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), intent(in) :: kind(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_r2r

        function lyr_fftf_plan_guru64_split_dft(rank, dims, howmany_rank, howmany_dims, ri, ii, &
            ro, io, flags) bind(c, name="lyr_fftf_plan_guru64_split_dft") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_split_dft

        function lyr_fftf_plan_guru64_split_dft_r2c(rank, dims, howmany_rank, howmany_dims, in, &
            ro, io, flags) bind(c, name="lyr_fftf_plan_guru64_split_dft_r2c") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_split_dft_r2c

        function lyr_fftf_plan_guru64_split_dft_c2r(rank, dims, howmany_rank, howmany_dims, ri, &
            ii, out, flags) bind(c, name="lyr_fftf_plan_guru64_split_dft_c2r") result(answer)
            import
            integer(c_int), value :: rank
            type(lyr_fft_iodim64), intent(in) :: dims(*)
            integer(c_int), value :: howmany_rank
            type(lyr_fft_iodim64), intent(in) :: howmany_dims(*)
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: out(*)
            integer(c_int), value :: flags
            type(c_ptr) :: answer
        end function lyr_fftf_plan_guru64_split_dft_c2r

        subroutine lyr_fftf_execute(plan) bind(c, name="lyr_fftf_execute")
            import
            type(c_ptr), value :: plan
        end subroutine lyr_fftf_execute

        subroutine lyr_fftf_execute_dft(plan, in, out) bind(c, name="lyr_fftf_execute_dft")
            import
            type(c_ptr), value :: plan
            complex(c_float_complex), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
        end subroutine lyr_fftf_execute_dft

        subroutine lyr_fftf_execute_dft_r2c(plan, in, out) &
            bind(c, name="lyr_fftf_execute_dft_r2c")
            import
            type(c_ptr), value :: plan
            real(c_float), intent(inout) :: in(*)
            complex(c_float_complex), intent(inout) :: out(*)
        end subroutine lyr_fftf_execute_dft_r2c

        subroutine lyr_fftf_execute_dft_c2r(plan, in, out) &
            bind(c, name="lyr_fftf_execute_dft_c2r")
            import
            type(c_ptr), value :: plan
            complex(c_float_complex), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
        end subroutine lyr_fftf_execute_dft_c2r

        subroutine lyr_fftf_execute_r2r(plan, in, out) bind(c, name="lyr_fftf_execute_r2r")
            import
            type(c_ptr), value :: plan
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: out(*)
        end subroutine lyr_fftf_execute_r2r

        subroutine lyr_fftf_execute_split_dft(plan, ri, ii, ro, io) &
            bind(c, name="lyr_fftf_execute_split_dft")
            import
            type(c_ptr), value :: plan
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
        end subroutine lyr_fftf_execute_split_dft

        subroutine lyr_fftf_execute_split_dft_r2c(plan, in, ro, io) &
            bind(c, name="lyr_fftf_execute_split_dft_r2c")
            import
            type(c_ptr), value :: plan
            real(c_float), intent(inout) :: in(*)
            real(c_float), intent(inout) :: ro(*)
            real(c_float), intent(inout) :: io(*)
        end subroutine lyr_fftf_execute_split_dft_r2c

        subroutine lyr_fftf_execute_split_dft_c2r(plan, ri, ii, out) &
            bind(c, name="lyr_fftf_execute_split_dft_c2r")
            import
            type(c_ptr), value :: plan
            real(c_float), intent(inout) :: ri(*)
            real(c_float), intent(inout) :: ii(*)
            real(c_float), intent(inout) :: out(*)
        end subroutine lyr_fftf_execute_split_dft_c2r

        subroutine lyr_fftf_destroy_plan(plan) bind(c, name="lyr_fftf_destroy_plan")
            import
            type(c_ptr), value :: plan
        end subroutine lyr_fftf_destroy_plan

        subroutine lyr_fftf_cleanup() bind(c, name="lyr_fftf_cleanup")
            import
        end subroutine lyr_fftf_cleanup

        function lyr_fftf_malloc(n) bind(c, name="lyr_fftf_malloc") result(answer)
            import
            integer(c_size_t), value :: n
            type(c_ptr) :: answer
        end function lyr_fftf_malloc

        subroutine lyr_fftf_free(p) bind(c, name="lyr_fftf_free")
            import
            type(c_ptr), value :: p
        end subroutine lyr_fftf_free

        function lyr_fftf_init_threads() bind(c, name="lyr_fftf_init_threads") result(answer)
            import
            integer(c_int) :: answer
        end function lyr_fftf_init_threads

        subroutine lyr_fftf_plan_with_nthreads(nthreads) &
            bind(c, name="lyr_fftf_plan_with_nthreads")
            import
            integer(c_int), value :: nthreads
        end subroutine lyr_fftf_plan_with_nthreads

        subroutine lyr_fftf_cleanup_threads() bind(c, name="lyr_fftf_cleanup_threads")
            import
        end subroutine lyr_fftf_cleanup_threads

        function LFFTFGetVersion(record) bind(c, name="LFFTFGetVersion") result(answer)
            import
            type(LFFTVersionRecord), intent(out) :: record
            integer(c_int) :: answer
        end function LFFTFGetVersion
    end interface
end module lyra_fft
