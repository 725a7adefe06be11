#!/usr/bin/perl
use strict;
use warnings;
use DBI;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

my ($n) = $ENV{QUERY_STRING} =~ /n=(\d+)/;
my $database = do "./connection.pl";
my $rows = $database->selectall_arrayref("select id, name, price, size, words from goods order by id limit $n");
print <<"PAGE";
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
PAGE
print "<tr>", (map { "<td>" . html($_) . "</td>" } @$_), "</tr>\n" for @$rows;
print "</table>\n<p>", scalar @$rows, " rows</p>\n</body>\n</html>\n";
