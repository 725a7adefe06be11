sub product {
  my ($name, $price) = @_;
  return qq(<span class="product">$name</span> for <span class="price">$price euros</span>);
}
1;
