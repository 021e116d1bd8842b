! Writes what gfortran prints for a table of values under the edit descriptors that ventrel
! uses. Each line: descriptor, the value's bit pattern in hex, then the field between bars.
! Regenerate with: gfortran format_table.f90 -o /tmp/ft && /tmp/ft > format_table.txt
program format_table
  implicit none
  integer, parameter :: nv = 40
  real(8) :: v(nv), zero, big
  integer :: i, k
  character(len=8) :: desc(10) = [character(len=8) :: '(F12.3)', '(F8.3)', '(F4.3)', '(F6.0)', &
       '(G12.5)', '(G10.3)', '(E12.5)', '(E10.3)', '(G15.7)', '(F5.1)']
  character(len=40) :: out
  integer(8) :: ints(12) = [0_8, 1_8, -1_8, 7_8, 42_8, 99_8, 100_8, 999_8, 1000_8, -99_8, -100_8, 123456789_8]
  zero = 0d0
  big = huge(1d0)
  v = [0d0, -zero, 1d0, -1d0, 0.5d0, -0.5d0, 123456d0, 0.099999d0, 0.0999996d0, 99999.5d0, &
       99999.4d0, 1d100, 1d-100, -1d300, 1d12, 999999.9996d0, -0.0001d0, 0.0005d0, 0.0015d0, &
       2.5d0, 3.14159265358979d0, -2.71828182845905d0, 1d-5, 1.23456789d-3, 0.1d0, 0.15d0, &
       9.99995d0, 99999.49d0, 12345.678d0, -12345.678d0, big, tiny(1d0), 5d-324, 1d5, 1d4, &
       0.123d0, 1234567.0d0, -0.00049d0, 0.00049d0, 1d-300]
  do k = 1, size(desc)
    do i = 1, nv
      write(out, desc(k)) v(i)
      write(*, '(a,1x,z16.16,1x,a,a,a)') trim(desc(k)), v(i), '|', trim_len(out, desc(k)), '|'
    end do
    ! non-finite values
    write(out, desc(k)) ieee_nan()
    write(*, '(a,1x,z16.16,1x,a,a,a)') trim(desc(k)), ieee_nan(), '|', trim_len(out, desc(k)), '|'
    write(out, desc(k)) big * 10d0
    write(*, '(a,1x,z16.16,1x,a,a,a)') trim(desc(k)), big*10d0, '|', trim_len(out, desc(k)), '|'
    write(out, desc(k)) -big * 10d0
    write(*, '(a,1x,z16.16,1x,a,a,a)') trim(desc(k)), -big*10d0, '|', trim_len(out, desc(k)), '|'
  end do
  do i = 1, size(ints)
    write(out, '(I3)') ints(i)
    write(*, '(a,1x,i0,1x,a,a,a)') '(I3)', ints(i), '|', out(1:3), '|'
    write(out, '(I1)') ints(i)
    write(*, '(a,1x,i0,1x,a,a,a)') '(I1)', ints(i), '|', out(1:1), '|'
  end do
contains
  function trim_len(s, d) result(r)
    character(len=*), intent(in) :: s, d
    character(len=:), allocatable :: r
    integer :: w, p, q
    p = scan(d, 'FGE') + 1
    q = scan(d, '.)') - 1
    read(d(p:q), *) w
    r = s(1:w)
  end function
  function ieee_nan() result(x)
    real(8) :: x
    x = transfer(-2251799813685248_8, 1d0)
  end function
end program format_table
