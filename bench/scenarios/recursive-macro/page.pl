#!/usr/bin/perl
use strict;
use warnings;
no warnings "recursion";

sub down {
  my $n = shift;
  if (!$n) {
    print "x";
    return;
  }
  print "<i>";
  down($n - 1);
  print "</i>";
}
print "Content-type: text/html\n\n";
for (1 .. 200) {
  print "<p>";
  down(200);
  print "</p>\n";
}
