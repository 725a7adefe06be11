#!/usr/bin/perl
use strict;
use warnings;

my ($n) = $ENV{QUERY_STRING} =~ /n=(\d+)/;
print "Content-type: text/html\n\n<ul>\n";
my $s = 0;
for my $i (1 .. $n) {
  if ($i % 3 == 0) { $s += $i % 10 } else { $s -= 1 }
  print "<li>$s</li>\n" if $i % 1000 == 0;
}
print "</ul>\n";
