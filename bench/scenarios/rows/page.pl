#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

my ($n) = $ENV{QUERY_STRING} =~ /n=(\d+)/;
my $rows = 0;
print <<"PAGE";
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
PAGE
open my $file, "<", "_rows-$n" or die;
while (<$file>) {
  chomp;
  print "<tr>", (map { "<td>" . html($_) . "</td>" } split /\t/), "</tr>\n";
  $rows++;
}
print <<"PAGE";
</table>
<p>$rows rows</p>
</body>
</html>
PAGE
