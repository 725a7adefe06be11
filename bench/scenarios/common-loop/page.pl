#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

sub price {
  my ($name, $number) = @_;
  return "$name: $number euros";
}

my ($n) = $ENV{QUERY_STRING} =~ /n=(\d+)/;
my @amounts = ("none", "one", "a pair", "a few", "a few");
open my $file, "<", "_goods" or die;
chomp(my @lines = <$file>);
my %item;
@item{split /\t/, $lines[0]} = split /\t/, $lines[1];
print "Content-type: text/html\n\n<ul>\n";
for my $i (1 .. $n) {
  my $n = $i % 10;
  print "<li>", ($n > 5 ? "<b>$i</b>" : $i), " ", ($n == 7 ? "last" : "more"), " ", ($amounts[$n] // "many"), " ",
    price(html($item{name}), $n), "</li>\n";
}
print "</ul>\n";
